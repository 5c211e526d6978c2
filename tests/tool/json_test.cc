// JSON read and printed: protobuf's conformance cases, what is refused and where, and the printer
// against protobuf's own.
#include <google/protobuf/any.pb.h>
#include <google/protobuf/io/zero_copy_stream_impl.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/delimited_message_util.h>
#include <google/protobuf/util/json_util.h>
#include <google/protobuf/util/message_differencer.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <random>

#include "json/printer.h"
#include "json/reader.h"
#include "json_test.pb.h"
#include "ovix/telemetry/contract/storage/device_health/battery.pb.h"
#include "support/contracts.h"
#include "support/names.h"
#include "terminal/error.h"

namespace ovix::tests {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using telemetry::contract::storage::device_health::BatteryHealthLog;

// What is refused is its error, in one line.
template <typename AnyMessage = JsonKinds>
std::string Error(std::string_view json, AnyMessage message = {}) {
  tool::JsonReader reader;
  try {
    reader.Read(json, "in", 1, message);
  } catch (const tool::Error& error) {
    EXPECT_EQ(std::count(error.what(), error.what() + strlen(error.what()), '\n'), 0);
    return error.what();
  }
  return "accepted as " + message.ShortDebugString();
}

TEST(JsonReader, AcceptsWhatConformanceAsks) {
  const struct {
    const char* json;
    const char* text;  // text format
  } cases[] = {
      {"{}", ""},
      {" \t\r\n{ \"int32Value\" :\t1 ,\n\"uint32Value\":2 } \n", "int32_value: 1 uint32_value: 2"},
      // Names.
      {R"({"fieldname1":1,"fieldName2":2,"field0name5":5,"FieldName6":6,"FieldName7":7})",
       "fieldname1: 1 field_name2: 2 field0name5: 5 Field_Name6: 6 __field_name7: 7"},
      {R"({"field_name2":2,"Field_Name6":6,"__field_name7":7})",
       "field_name2: 2 Field_Name6: 6 __field_name7: 7"},
      {R"({"@own":1})", "own_name: 1"},
      {R"({"own_name":1})", "own_name: 1"},
      {R"({"\u0066ieldname1":1})", "fieldname1: 1"},
      // Integers.
      {R"({"int32Value":2147483647,"int64Value":9223372036854775807})",
       "int32_value: 2147483647 int64_value: 9223372036854775807"},
      {R"({"int32Value":-2147483648,"int64Value":"-9223372036854775808"})",
       "int32_value: -2147483648 int64_value: -9223372036854775808"},
      {R"({"uint32Value":4294967295,"uint64Value":18446744073709551615})",
       "uint32_value: 4294967295 uint64_value: 18446744073709551615"},
      {R"({"uint32Value":"4294967295","uint64Value":"18446744073709551615"})",
       "uint32_value: 4294967295 uint64_value: 18446744073709551615"},
      {R"({"sint32Value":"-5","fixed64Value":9007199254740993})",
       "sint32_value: -5 fixed64_value: 9007199254740993"},
      {R"({"int32Value":1e5})", "int32_value: 100000"},
      {R"({"int32Value":-1.5E+1,"uint32Value":"250e-1"})", "int32_value: -15 uint32_value: 25"},
      {R"({"int32Value":100000.000})", "int32_value: 100000"},
      {R"({"int32Value":2147483647.0})", "int32_value: 2147483647"},
      {R"({"int32Value":-2147483648.0})", "int32_value: -2147483648"},
      {R"({"uint64Value":1844674407370955161.5e1})", "uint64_value: 18446744073709551615"},
      {R"({"int32Value":"2\u003147483647"})", "int32_value: 2147483647"},
      {R"({"uint32Value":-0,"uint64Value":0e99})", ""},
      // Floating point.
      {R"({"floatValue":3.402823e+38,"doubleValue":1.797693e+308})",
       "float_value: 3.402823e+38 double_value: 1.797693e+308"},
      {R"({"floatValue":-1.175494e-38,"doubleValue":-2.22507e-308})",
       "float_value: -1.175494e-38 double_value: -2.22507e-308"},
      {R"({"floatValue":"NaN","doubleValue":"NaN"})", "float_value: nan double_value: nan"},
      {R"({"floatValue":"Infinity","doubleValue":"-Infinity"})",
       "float_value: inf double_value: -inf"},
      {R"({"floatValue":"1","doubleValue":"1.5e1"})", "float_value: 1 double_value: 15"},
      {R"({"floatValue":1e-60,"doubleValue":-1e-400})", "double_value: -0"},
      {R"({"floatValue":-0.0,"doubleValue":-0})", "float_value: -0 double_value: -0"},
      // To the nearest, once: by way of a double it would be 16777216.
      {R"({"floatValue":16777217.0000000001})", "float_value: 16777218"},
      // Booleans, text and bytes.
      {R"({"boolValue":true})", "bool_value: true"},
      {R"({"boolValue":false})", ""},
      {R"({"stringValue":"Hello, World!\" \\ \/ \b\f\n\r\t"})",
       R"(string_value: "Hello, World!\" \\ / \010\014\n\r\t")"},
      {R"({"stringValue":"\u8C37\u6b4C 谷歌 \uD83D\uDE01 \u0000"})",
       "string_value: \"谷歌 谷歌 😁 \\000\""},
      {R"({"bytesValue":"AQI="})", R"(bytes_value: "\001\002")"},
      {R"({"bytesValue":"-_"})", R"(bytes_value: "\373")"},
      {R"({"bytesValue":"+/8"})", R"(bytes_value: "\373\377")"},
      {R"({"bytesValue":""})", ""},
      // Enumerations.
      {R"({"enumValue":"JSON_COLOUR_RED"})", "enum_value: JSON_COLOUR_RED"},
      {R"({"enumValue":2})", "enum_value: JSON_COLOUR_BLUE"},
      {R"({"enumValue":0})", ""},
      {R"({"enumValue":123})", "enum_value: 123"},
      // Messages, lists and maps.
      {R"({"messageValue":{}})", "message_value {}"},
      {R"({"messageValue":{"messageValue":{"int32Value":1234}}})",
       "message_value { message_value { int32_value: 1234 } }"},
      {R"({"optionalValue":0})", "optional_value: 0"},
      {R"({"int32List":[1,"2",3e0],"stringList":["","b"],"boolList":[true,false]})",
       "int32_list: [1, 2, 3] string_list: ['', 'b'] bool_list: [true, false]"},
      {R"({"messageList":[{"int32Value":1},{}],"enumList":["JSON_COLOUR_BLUE",1]})",
       "message_list { int32_value: 1 } message_list {} enum_list: [JSON_COLOUR_BLUE, 1]"},
      {R"({"int32List":[],"messageList":[],"stringMap":{}})", ""},
      {R"({"stringMap":{"a":1,"":2},"int64Map":{"-1":"x","\u0032":"y"}})",
       R"(string_map { key: "a" value: 1 } string_map { key: "" value: 2 }
          int64_map { key: -1 value: "x" } int64_map { key: 2 value: "y" })"},
      {R"({"boolMap":{"true":{"int32Value":1},"\u0066alse":{}},"enumMap":{"7":"JSON_COLOUR_RED"}})",
       R"(bool_map { key: true value { int32_value: 1 } } bool_map { key: false value {} }
          enum_map { key: 7 value: JSON_COLOUR_RED })"},
      // null is an absent field, also of a oneof of which another is set.
      {R"({"int32Value":null,"stringValue":null,"messageValue":null,"int32List":null,
           "messageList":null,"stringMap":null,"enumValue":null,"boolValue":null,
           "bytesValue":null,"optionalValue":null,"eitherNumber":null,"timestampValue":null})",
       ""},
      {R"({"eitherNumber":null,"eitherText":"a"})", R"(either_text: "a")"},
      {R"({"eitherText":"a","eitherNumber":null})", R"(either_text: "a")"},
      {R"({"eitherNumber":0})", "either_number: 0"},
  };
  tool::JsonReader reader;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.json);
    JsonKinds expected, actual;
    ASSERT_TRUE(google::protobuf::TextFormat::ParseFromString(c.text, &expected));
    try {
      reader.Read(c.json, "in", 1, actual);
    } catch (const tool::Error& error) {
      ADD_FAILURE() << error.what();
    }
    google::protobuf::util::MessageDifferencer differencer;
    google::protobuf::util::DefaultFieldComparator comparator;
    comparator.set_treat_nan_as_equal(true);
    differencer.set_field_comparator(&comparator);
    EXPECT_TRUE(differencer.Compare(expected, actual)) << actual.ShortDebugString();
    EXPECT_EQ(std::signbit(actual.float_value()), std::signbit(expected.float_value()));
    EXPECT_EQ(std::signbit(actual.double_value()), std::signbit(expected.double_value()));
  }
}

TEST(JsonReader, RefusesTheFirstFaultWithItsPlaceAndTheFix) {
  const struct {
    std::string json;
    const char* said;
  } cases[] = {
      // Not JSON.
      {"", "in:1:1: ovix.tests.JsonKinds: the input is empty"},
      {" \n", "in:2:1: "},
      {std::string(1, '\0'), "in:1:1: ovix.tests.JsonKinds: a value belongs here; write { ... }"},
      {std::string(" \0{}", 4), "in:1:2: ovix.tests.JsonKinds: a value belongs here; write"},
      {"{", "in:1:2: ovix.tests.JsonKinds: the input ends"},
      {R"({"int32Value")", "in:1:14: ovix.tests.JsonKinds.int32_value: the input ends"},
      {R"({"int32Value":)", "in:1:15: ovix.tests.JsonKinds.int32_value: the input ends"},
      {R"({"stringValue":"abc)", "in:1:20: ovix.tests.JsonKinds.string_value: the input ends"},
      {R"({"stringValue":"abc\)", "in:1:20: ovix.tests.JsonKinds.string_value: JSON has no such"},
      {R"({"stringValue":"abc\"})", "string_value: the input ends"},
      {R"({"int32Value" 1})", "in:1:15: ovix.tests.JsonKinds.int32_value: a colon"},
      {R"({"int32Value":1 "boolValue":true})", "in:1:17: ovix.tests.JsonKinds: a comma or }"},
      {R"({"int32List":[1 2]})", "in:1:17: ovix.tests.JsonKinds.int32_list: a comma or ]"},
      {R"({"int32Value":1,})", "in:1:17: ovix.tests.JsonKinds: a comma without anything"},
      {R"({"int32Value":1 , })", "in:1:19: "},
      {R"({"int32Value":})", "in:1:15: ovix.tests.JsonKinds.int32_value: a value belongs here"},
      {R"({"int32Value":1,,"boolValue":true})", "in:1:17: "},
      {R"({,"int32Value":1})", "in:1:2: "},
      {R"({"int32List":[1,2,3,4,]})", "in:1:23: ovix.tests.JsonKinds.int32_list: a comma without"},
      {R"({"int32List":[1,2,3,4 , ]})", "in:1:25: "},
      {R"({"messageList":[{},]})", "in:1:20: "},
      {R"({"messageValue":{"int32Value":1,}})", "in:1:33: "},
      {R"({"int32List":[,1]})", "in:1:15: "},
      {"{'int32Value':1}", "in:1:2: ovix.tests.JsonKinds: single quotes"},
      {R"({"stringValue":'a'})", "in:1:16: ovix.tests.JsonKinds.string_value: single quotes"},
      {"{int32Value:1}", "in:1:2: ovix.tests.JsonKinds: a name in double quotes"},
      {R"({"int32Value":1} // comment)", "in:1:18: ovix.tests.JsonKinds: text follows"},
      {"{/* comment */}", "in:1:2: "},
      {"{}{}", "in:1:3: "},
      {std::string("{}\0{}", 5), "in:1:3: "},
      {"\xef\xbb\xbf{}", "in:1:1: ovix.tests.JsonKinds: a byte order mark"},
      // Not a message.
      {"[]", "in:1:1: ovix.tests.JsonKinds: a message is written as an object"},
      {"null", "in:1:1: "},
      {"1", "in:1:1: "},
      {"\"a\"", "in:1:1: "},
      // Names.
      {R"({"nope":1})", "in:1:2: ovix.tests.JsonKinds: has no field \"nope\""},
      {R"({"int32value":1})", "in:1:2: ovix.tests.JsonKinds: has no field \"int32value\"; is it "},
      {R"({"messageValue":{"nope":1}})", "in:1:18: ovix.tests.JsonKinds: has no field"},
      {R"({"int32Value":1,"int32Value":1})",
       "in:1:17: ovix.tests.JsonKinds.int32_value: is set twice"},
      {R"({"int32Value":1,"int32_value":1})", "in:1:17: "},
      {R"({"int32Value":null,"int32_value":1})", "in:1:20: "},
      {R"({"messageValue":{},"messageValue":{}})", "in:1:20: "},
      {R"({"messageList":[{"int32Value":1},{"boolValue":true,"boolValue":true}]})", "in:1:52: "},
      {R"({"eitherNumber":1,"eitherText":"a"})",
       "in:1:32: ovix.tests.JsonKinds.either_text: another field of ovix.tests.JsonKinds.either"},
      {R"({"eitherMessage":{},"eitherMessage":{}})", "is set twice"},
      {R"({"eitherText":"","eitherMessage":{}})", "in:1:34: "},
      // Integers.
      {R"({"int32Value":"3x3"})",
       "in:1:15: ovix.tests.JsonKinds.int32_value: \"3x3\" is not of type int32; write a whole "
       "number from -2147483648 to 2147483647"},
      {R"({"int32Value":2147483648})", "is not of type int32"},
      {R"({"int32Value":-2147483649})", "is not of type int32"},
      {R"({"uint32Value":4294967296})", "is not of type uint32; write a whole number from 0 to "},
      {R"({"uint32Value":-1})", "is not of type uint32"},
      {R"({"int64Value":9223372036854775808})", "is not of type int64"},
      {R"({"int64Value":-9223372036854775809})", "is not of type int64"},
      {R"({"int64Value":"-9223372036854775809"})", "is not of type int64"},
      {R"({"uint64Value":18446744073709551616})", "is not of type uint64"},
      {R"({"uint64Value":1e20})", "is not of type uint64"},
      {R"({"uint64Value":1e99999999999999999999})", "too large"},
      {R"({"uint64Value":0e309})", "the number or its exponent is too large"},
      {R"({"uint64Value":"1e99999999999999999999"})", "is not of type uint64"},
      {R"({"int32Value":0.5})", "is not of type int32"},
      {R"({"int32Value":1e-1})", "is not of type int32"},
      {R"({"int32Value":"0.5"})", "is not of type int32"},
      {R"({"int32Value":"-"})", "is not of type int32"},
      {R"({"int32Value":"1."})", "is not of type int32"},
      {R"({"int32Value":"1e"})", "is not of type int32"},
      {R"({"int32Value":""})", "is not of type int32"},
      {R"({"int32Value":" 1"})", "is not of type int32"},
      {R"({"int32Value":"1 "})", "is not of type int32"},
      {R"({"int32Value":"+1"})", "is not of type int32"},
      {R"({"int32Value":"01"})", "is not of type int32"},
      {R"({"int32Value":"-01"})", "is not of type int32"},
      {R"({"int32Value":"0x1"})", "is not of type int32"},
      {R"({"int32Value":01})", "in:1:16: "},
      {R"({"int32Value":-01})", "in:1:17: "},
      {R"({"int32Value":+1})", "in:1:15: ovix.tests.JsonKinds.int32_value: a value belongs here"},
      {R"({"int32Value":.5})", "in:1:15: "},
      {R"({"int32Value":1.})", "in:1:17: ovix.tests.JsonKinds.int32_value: a digit"},
      {R"({"int32Value":1e})", "a digit"},
      {R"({"int32Value":0x1})", "in:1:16: "},
      {R"({"int32Value":true})", "true is not of type int32"},
      {R"({"int32Value":{}})", "an object is not of type int32"},
      // Floating point.
      {R"({"floatValue":3.502823e+38})", "is not of type float"},
      {R"({"floatValue":-3.502823e+38})", "is not of type float"},
      {R"({"doubleValue":1.89769e+308})", "is not of type double"},
      {R"({"doubleValue":"-1.89769e+308"})", "is not of type double"},
      {R"({"floatValue":NaN})", "in:1:15: "},
      {R"({"floatValue":Infinity})",
       "in:1:15: ovix.tests.JsonKinds.float_value: a value belongs here; write a number of its "
       "range, \"NaN\""},
      {R"({"floatValue":-Infinity})", "in:1:15: "},
      {R"({"floatValue":"nan"})", "is not of type float"},
      {R"({"floatValue":"inf"})", "is not of type float"},
      {R"({"floatValue":"1 "})", "is not of type float"},
      {R"({"floatValue":""})", "is not of type float"},
      // Booleans, text and bytes.
      {R"({"boolValue":0})", "is not of type bool; write true or false"},
      {R"({"boolValue":1})", "is not of type bool"},
      {R"({"boolValue":"true"})", "is not of type bool"},
      {R"({"boolValue":True})", "in:1:14: ovix.tests.JsonKinds.bool_value: a value belongs here"},
      {R"({"boolValue":tru})", "in:1:14: "},
      {R"({"stringValue":12345})", "12345 is not of type string; write text in double quotes"},
      {R"({"stringValue":true})", "is not of type string"},
      {R"({"stringValue":["a"]})", "is one value, not a list"},
      {R"({"stringValue":"a\qb"})", "in:1:18: ovix.tests.JsonKinds.string_value: JSON has no such"},
      {R"({"stringValue":"\u12G4"})", "JSON has no such escape"},
      {R"({"stringValue":"\U1234"})", "JSON has no such escape"},
      {R"({"stringValue":"\uD800"})", "in:1:17: ovix.tests.JsonKinds.string_value: half of"},
      {R"({"stringValue":"\uD800a"})", "half of a surrogate pair"},
      {R"({"stringValue":"\uDC00"})", "half of a surrogate pair"},
      {R"({"stringValue":"\uDE01\uD83D"})", "half of a surrogate pair"},
      {R"({"\uDC00":1})", "half of a surrogate pair"},
      {"{\"stringValue\":\"a\nb\"}", "in:1:18: ovix.tests.JsonKinds.string_value: a line end"},
      {std::string("{\"stringValue\":\"a\0b\"}", 21), "in:1:18: "},
      {"{\"stringValue\":\"a\xff\"}",
       "in:1:18: ovix.tests.JsonKinds.string_value: text that is not UTF-8"},
      {"{\"stringValue\":\"\xed\xa0\x80\"}",
       "in:1:17: ovix.tests.JsonKinds.string_value: text that"},
      {"{\"a\xff\":1}", "in:1:4: ovix.tests.JsonKinds: text that is not UTF-8"},
      {"{}\xff", "in:1:3: "},
      {"{\n\"int32Value\":x,\n\"stringValue\":\"\xff\"}", "in:2:14: "},
      {R"({"bytesValue":"A"})", "is not of type bytes"},
      {R"({"bytesValue":"AQI=="})", "is not of type bytes"},
      {R"({"bytesValue":"A=Q"})", "is not of type bytes"},
      {R"({"bytesValue":"AQ I"})", "is not of type bytes; write base64"},
      // Enumerations.
      {R"({"enumValue":"JSON_COLOUR_GREEN"})",
       "\"JSON_COLOUR_GREEN\" is not of type ovix.tests.JsonColour; write the number or the name "
       "of a value: JSON_COLOUR_NONE, JSON_COLOUR_RED, JSON_COLOUR_BLUE"},
      {R"({"enumValue":"1"})", "is not of type ovix.tests.JsonColour"},
      {R"({"enumValue":1.5})", "is not of type ovix.tests.JsonColour"},
      {R"({"enumValue":2147483648})", "is not of type ovix.tests.JsonColour"},
      {R"({"enumValue":JSON_COLOUR_RED})", "in:1:14: "},
      {R"({"enumValue":true})", "is not of type ovix.tests.JsonColour"},
      // Messages, lists and maps.
      {R"({"messageValue":1})", "1 is not of type ovix.tests.JsonKinds; write { ... }"},
      {R"({"messageValue":[]})", "is one value, not a list"},
      {R"({"int32List":1})", "in:1:14: ovix.tests.JsonKinds.int32_list: 1 is not a list"},
      {R"({"messageList":{}})", "an object is not a list; write [ ... ]"},
      {R"({"int32List":[[1,2],[3]]})",
       "in:1:15: ovix.tests.JsonKinds.int32_list: an element is itself a list"},
      {R"({"int32List":[1,null]})", "in:1:17: ovix.tests.JsonKinds.int32_list: null is not an"},
      {R"({"messageList":[{},null]})", "null is not an element of a list"},
      {R"({"int32List":[1,"a",false]})",
       "in:1:17: ovix.tests.JsonKinds.int32_list: \"a\" is not of"},
      {R"({"int32List":[1,false]})", "false is not of type int32"},
      {R"({"int32List":[{}]})", "is not of type int32"},
      {R"({"stringList":["a",1]})", "is not of type string"},
      {R"({"messageList":[{},1]})", "is not of type ovix.tests.JsonKinds"},
      {R"({"enumList":["JSON_COLOUR_RED","GREEN"]})", "in:1:32: "},
      {R"({"stringMap":[]})", "is a map, not a list"},
      {R"({"stringMap":1})", "1 is not a map; write { ... }"},
      {R"({"stringMap":{"a":null}})", "null is not an element of a map"},
      {R"({"stringMap":{"a":[1]}})", "an element is itself a list"},
      {R"({"stringMap":{"a":"b"}})", "is not of type int32"},
      {R"({"stringMap":{"a":1,"a":2}})",
       "in:1:21: ovix.tests.JsonKinds.string_map: \"a\" is set twice in one map"},
      {R"({"int64Map":{"1":"a","1.0":"b"}})", "is set twice in one map"},
      {R"({"int64Map":{"x":"a"}})", "\"x\" is not of type int64"},
      {R"({"int64Map":{1:"a"}})", "a name in double quotes"},
      {R"({"boolMap":{"True":{}}})", "\"True\" is not of type bool"},
      {R"({"boolMap":{"true":1}})", "is not of type ovix.tests.JsonKinds"},
      {R"({"timestampValue":{}})", "google.protobuf.Timestamp: has a JSON form of its own"},
      // The first of two, whatever they are; a long value is cut between characters.
      {R"({"int32Value":"x","uint32Value":"y"})", "in:1:15: "},
      {"{\n \"int32Value\": 1,\n  \"boolValue\": 7\n, 'x'}", "in:3:16: "},
      {R"({"int32Value":"äääääääääääääääääääääääää"})", "\"äääääääääääääääääää... is not of"},
  };
  for (const auto& c : cases) {
    EXPECT_NE(Error(c.json).find(c.said), std::string::npos)
        << c.json << "\n  " << Error(c.json) << "\n  instead of: " << c.said;
  }
}

TEST(JsonReader, ReadsAsDeepAsTheRuntime) {
  const auto nested = [](int depth) {
    std::string json;
    for (int i = 0; i < depth; ++i) json += "{\"messageValue\":";
    json += "{}" + std::string(static_cast<size_t>(depth), '}');
    return json;
  };
  EXPECT_EQ(Error(nested(100)).find("accepted"), 0);
  EXPECT_NE(Error(nested(101)).find("nested deeper than 100"), std::string::npos);
  EXPECT_NE(Error(nested(100000)).find("nested deeper than 100"), std::string::npos);
  EXPECT_NE(Error(std::string(100000, '[')).find("as an object"), std::string::npos);
}

// --- The printer

std::string Printed(const Message& message, bool is_one_line) {
  std::string json;
  tool::JsonPrinter(is_one_line).Print(message, json);
  return json;
}

// As protobuf prints the message.
std::string Expected(const Message& message, bool is_one_line) {
  google::protobuf::util::JsonPrintOptions options;
  options.preserve_proto_field_names = true;
  options.add_whitespace = !is_one_line;
  std::string json;
  EXPECT_TRUE(google::protobuf::util::MessageToJsonString(message, &json, options).ok());
  return json;
}

// Both forms are protobuf's, and come back as the same bytes.
void ExpectSameJson(const Message& message) {
  for (const bool is_one_line : {true, false}) {
    const std::string json = Printed(message, is_one_line);
    ASSERT_EQ(json, Expected(message, is_one_line));
    const std::unique_ptr<Message> again(message.New());
    tool::JsonReader().Read(json, "in", 1, *again);
    ASSERT_EQ(again->SerializeAsString(), message.SerializeAsString()) << json;
  }
}

// Negative zeros, which are not printed as protobuf does, become zeros.
void TakeNegativeZeros(Message* message) {
  const auto* reflection = message->GetReflection();
  std::vector<const FieldDescriptor*> fields;
  reflection->ListFields(*message, &fields);
  for (const FieldDescriptor* field : fields) {
    const int size = field->is_repeated() ? reflection->FieldSize(*message, field) : 1;
    for (int i = 0; i < size; ++i) {
      if (field->message_type() != nullptr) {
        TakeNegativeZeros(field->is_repeated()
                              ? reflection->MutableRepeatedMessage(message, field, i)
                              : reflection->MutableMessage(message, field));
      } else if (field->cpp_type() == FieldDescriptor::CPPTYPE_FLOAT && field->is_repeated()) {
        if (reflection->GetRepeatedFloat(*message, field, i) == 0) {
          reflection->SetRepeatedFloat(message, field, i, 0);
        }
      } else if (field->cpp_type() == FieldDescriptor::CPPTYPE_FLOAT) {
        if (reflection->GetFloat(*message, field) == 0) reflection->SetFloat(message, field, 0);
      }
    }
  }
}

TEST(JsonPrinter, PrintsEveryContractAsProtobufDoes) {
  const RuntimeLog warnings;  // of numbers that no enumeration has
  for (const Message* prototype : AllPrototypes()) {
    SCOPED_TRACE(prototype->GetTypeName());
    const std::unique_ptr<Message> message(prototype->New());
    ExpectSameJson(*message);
    FillAll(message.get(), 1);
    ExpectSameJson(*message);
    FillExtremes(message.get());
    TakeNegativeZeros(message.get());
    ExpectSameJson(*message);
  }
}

TEST(JsonPrinter, PrintsTheFrozenCorpusAsProtobufDoes) {
  const RuntimeLog warnings;
  std::map<std::string, const Message*> prototypes;
  for (const auto* prototype : AllPrototypes()) prototypes[prototype->GetTypeName()] = prototype;
  const std::filesystem::path releases = SourceFile("compat");
  int read = 0;
  for (const auto& release : std::filesystem::directory_iterator(releases)) {
    if (!release.is_directory()) continue;
    std::ifstream file(release.path() / "corpus.binpb", std::ios::binary);
    google::protobuf::io::IstreamInputStream stream(&file);
    google::protobuf::Any entry;
    for (; google::protobuf::util::ParseDelimitedFromZeroCopyStream(&entry, &stream, nullptr);
         entry.Clear()) {
      const std::string name = entry.type_url().substr(entry.type_url().rfind('/') + 1);
      const std::unique_ptr<Message> message(prototypes.at(name)->New());
      ASSERT_TRUE(message->ParseFromString(entry.value())) << name;
      message->DiscardUnknownFields();
      TakeNegativeZeros(message.get());
      ExpectSameJson(*message);
      ++read;
    }
  }
  EXPECT_GT(read, 1000);
}

TEST(JsonPrinter, EscapesEveryCharacterAsProtobufDoes) {
  BatteryHealthLog log;
  for (uint32_t c = 0; c < 0x110000; ++c) {
    if (c >= 0xd800 && c < 0xe000) continue;
    std::string& text = *log.mutable_time();
    if (c < 0x80) {
      text += static_cast<char>(c);
    } else if (c < 0x800) {
      text += {static_cast<char>(0xc0 | c >> 6), static_cast<char>(0x80 | (c & 0x3f))};
    } else if (c < 0x10000) {
      text += {static_cast<char>(0xe0 | c >> 12), static_cast<char>(0x80 | (c >> 6 & 0x3f)),
               static_cast<char>(0x80 | (c & 0x3f))};
    } else {
      text += {static_cast<char>(0xf0 | c >> 18), static_cast<char>(0x80 | (c >> 12 & 0x3f)),
               static_cast<char>(0x80 | (c >> 6 & 0x3f)), static_cast<char>(0x80 | (c & 0x3f))};
    }
    if (c % 0x100 != 0xff) continue;
    SCOPED_TRACE(c);
    ASSERT_EQ(Printed(log, true), Expected(log, true));
    text.clear();
  }
}

TEST(JsonPrinter, PrintsEveryKindAsProtobufDoes) {
  std::mt19937_64 random(16);  // the same messages in every run
  for (int i = 0; i < 5000; ++i) {
    JsonKinds kinds;
    const auto next = [&] { return random(); };
    // Bits of all exponents, and numbers as people write them.
    const auto floating =
        i % 2 == 0 ? std::bit_cast<double>(next()) : static_cast<double>(next() % 100000) / 1000;
    kinds.set_double_value(floating);
    kinds.set_float_value(i % 2 == 0 ? std::bit_cast<float>(static_cast<uint32_t>(next()))
                                     : static_cast<float>(floating));
    if (kinds.float_value() == 0) kinds.set_float_value(1);
    // JSON has one.
    if (std::isnan(kinds.float_value())) kinds.set_float_value(std::nanf(""));
    if (std::isnan(kinds.double_value())) kinds.set_double_value(std::nan(""));
    kinds.set_int32_value(static_cast<int32_t>(next()));
    kinds.set_int64_value(static_cast<int64_t>(next() >> (next() % 64)));
    kinds.set_uint64_value(next() >> (next() % 64));
    kinds.set_enum_value(static_cast<JsonColour>(next() % 4));
    kinds.set_bool_value(next() % 2 == 0);
    for (uint64_t size = next() % 5; size > 0; --size) {
      kinds.mutable_bytes_value()->push_back(static_cast<char>(next()));
      kinds.add_enum_list(static_cast<JsonColour>(next() % 4));
      kinds.add_bytes_list(std::string(size, static_cast<char>(next())));
      kinds.add_message_list()->set_either_number(static_cast<uint32_t>(next() % 2));
    }
    // One entry: protobuf has no order of them.
    if (next() % 2 == 0) (*kinds.mutable_int64_map())[static_cast<int64_t>(next())] = "<a>";
    if (next() % 2 == 0) (*kinds.mutable_bool_map())[next() % 2 == 0].set_string_value("b");
    if (next() % 2 == 0) (*kinds.mutable_string_map())["\"<\x01"] = 1;
    ExpectSameJson(kinds);
    if (HasFatalFailure()) return;
  }
}

TEST(JsonPrinter, KeepsNegativeZerosAndTheOrderOfKeys) {
  JsonKinds kinds;
  kinds.set_float_value(-0.0F);
  kinds.add_double_list(-0.0);
  for (const char* key : {"b", "a", "c"}) (*kinds.mutable_string_map())[key] = 1;
  EXPECT_EQ(Printed(kinds, true),
            R"({"float_value":-0.0,"double_list":[-0.0],"string_map":{"a":1,"b":1,"c":1}})");
  kinds.mutable_timestamp_value();
  EXPECT_THROW(Printed(kinds, true), tool::Error);
}

}  // namespace
}  // namespace ovix::tests
