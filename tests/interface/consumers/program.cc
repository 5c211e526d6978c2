// A program with a schema of its own, linked with the library and with a second shared library.
// Fails by the line of what it sees two of, or cannot read.
#include <google/protobuf/descriptor.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "program.pb.cc"  // one compilation instead of two
#include "view.h"

namespace storage = ovix::telemetry::contract::storage;
namespace upload = ovix::telemetry::contract::upload;
using google::protobuf::Message;
using google::protobuf::MessageFactory;
using ovix::tests::program::Table;

static int failures = 0;
#define EXPECT(condition) \
  if (!(condition)) std::printf("line %d: %s\n", __LINE__, #condition), ++failures

// Made before main(): a record of the library and an option read through an extension identifier.
static const std::string made_early = storage::CollectorCache::descriptor()
                                          ->options()
                                          .GetExtension(storage::persistance)
                                          .database()
                                          .name();

static const void* Vtable(const Message* message) {
  const void* vtable;
  std::memcpy(&vtable, static_cast<const void*>(message), sizeof vtable);
  return vtable;
}

int main() {
  const View here = Here();
  EXPECT(here == PluginsView());

  // What the library registered with the runtime is what the program refers to.
  const auto* factory = MessageFactory::generated_factory();
  EXPECT(const_cast<MessageFactory*>(factory)->GetPrototype(
             storage::CollectorCache::descriptor()) == here.default_instance);
  EXPECT(const_cast<MessageFactory*>(factory)->GetPrototype(
             storage::PersistanceMessageOptions::descriptor()) == here.option_default_instance);
  EXPECT(&Table().cache() == here.default_instance);
  EXPECT(here.table->is_initialized);

  // Extension identifiers: number and default in the program's copy, read from both sides.
  EXPECT(storage::persistance.number() == 50000);
  EXPECT(storage::column.number() == 50000);
  EXPECT(upload::cdm.number() == 50001);
  EXPECT(made_early == "Cache");
  EXPECT(Table::descriptor()->options().GetExtension(storage::persistance).database().name() ==
         "Program");
  EXPECT(Table::descriptor()->field(0)->options().GetExtension(storage::column).constraint().pk());
  EXPECT(&google::protobuf::MessageOptions().GetExtension(storage::persistance) ==
         here.option_default_instance);
  EXPECT(!std::strcmp(PluginsDatabase(), "Plugin"));

  // Objects that the library made are of the program's types.
  ovix::telemetry::contract::ContractsCollection contracts;
  int found = 0;
  while (const Message* prototype = contracts.Next()) {
    if (prototype->GetDescriptor() != storage::CollectorCache::descriptor()) continue;
    ++found;
    EXPECT(dynamic_cast<const storage::CollectorCache*>(prototype) == prototype);
    EXPECT(typeid(*prototype) == typeid(storage::CollectorCache));
    EXPECT(Vtable(prototype) == here.vtable);
  }
  EXPECT(found == 1);
  const storage::CollectorCache made_here;
  EXPECT(Vtable(&made_here) == here.vtable);
  EXPECT(Vtable(here.default_instance) == here.vtable);

  Table row;
  row.mutable_cache()->set_collector("collector");
  Table back;
  EXPECT(back.ParseFromString(row.SerializeAsString()) && back.cache().collector() == "collector");
  return failures == 0 ? 0 : 1;
}
