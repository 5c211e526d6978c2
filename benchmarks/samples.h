// The four messages that are measured, filled as a machine would fill them: one small record, one
// of many strings, one large payload of many nested messages, one payload of mostly strings.
#ifndef OVIX_BENCHMARKS_SAMPLES_H_
#define OVIX_BENCHMARKS_SAMPLES_H_

#include <google/protobuf/message.h>

#include <string>

#include "ovix/telemetry/contract/storage/device_health/battery.pb.h"
#include "ovix/telemetry/contract/storage/device_profile/graphics_cards.pb.h"
#include "ovix/telemetry/contract/upload/device_health/PcDeviceHealthEventAsCDM.pb.h"
#include "ovix/telemetry/contract/upload/log/PcLogPerformanceSamplesAsCDM.pb.h"

namespace ovix::benchmarks {

using BatteryHealthLog = telemetry::contract::storage::device_health::BatteryHealthLog;
using GraphicsCards = telemetry::contract::storage::device_profile::GraphicsCards;
using PcLogPerformanceSamplesAsCDM = telemetry::contract::upload::log::PcLogPerformanceSamplesAsCDM;
using PcDeviceHealthEventAsCDM =
    telemetry::contract::upload::device_health::PcDeviceHealthEventAsCDM;

// Gives every field of a message a value, a repeated one `repeat` of them: plain text of 4 to 20
// characters, numbers of one to three bytes.
class Filler {
 public:
  explicit Filler(int repeat) : repeat_(repeat) {}

  void Fill(google::protobuf::Message* message) {
    const auto* descriptor = message->GetDescriptor();
    for (int i = 0; i < descriptor->field_count(); ++i) {
      const auto* field = descriptor->field(i);
      const int count = field->is_repeated() ? repeat_ : 1;
      for (int n = 0; n < count; ++n) FillField(message, field);
    }
  }

 private:
  using Field = google::protobuf::FieldDescriptor;

  void FillField(google::protobuf::Message* message, const Field* field) {
    const auto* reflection = message->GetReflection();
    const bool repeated = field->is_repeated();
    ++step_;
    switch (field->cpp_type()) {
      case Field::CPPTYPE_STRING:
        repeated ? reflection->AddString(message, field, Text())
                 : reflection->SetString(message, field, Text());
        break;
      case Field::CPPTYPE_MESSAGE:
        Fill(repeated ? reflection->AddMessage(message, field)
                      : reflection->MutableMessage(message, field));
        break;
      case Field::CPPTYPE_UINT32:
        repeated ? reflection->AddUInt32(message, field, Number())
                 : reflection->SetUInt32(message, field, Number());
        break;
      case Field::CPPTYPE_FLOAT:
        repeated ? reflection->AddFloat(message, field, 0.5F * static_cast<float>(step_))
                 : reflection->SetFloat(message, field, 0.5F * static_cast<float>(step_));
        break;
      case Field::CPPTYPE_BOOL:
        repeated ? reflection->AddBool(message, field, true)
                 : reflection->SetBool(message, field, true);
        break;
      default:
        GOOGLE_LOG(FATAL) << field->full_name() << ": a type that the samples do not fill yet";
    }
  }

  uint32_t Number() const { return 1 + step_ * 7919 % (step_ % 3 == 0 ? 90000 : 120); }
  std::string Text() const {
    static const std::string kText = "2024-05-17T08:41:03Z";
    return kText.substr(0, 4 + step_ * 5 % 17);
  }

  int repeat_;
  uint32_t step_ = 0;
};

// How many of each repeated field a sample has.
template <typename Contract>
constexpr int kRepeat = 3;
template <>
constexpr int kRepeat<PcLogPerformanceSamplesAsCDM> = 4;
template <>
constexpr int kRepeat<PcDeviceHealthEventAsCDM> = 1;

template <typename Contract>
Contract Sample() {
  Contract message;
  Filler(kRepeat<Contract>).Fill(&message);
  return message;
}

}  // namespace ovix::benchmarks

#endif  // OVIX_BENCHMARKS_SAMPLES_H_
