// Where a piece of code finds what there must be one of: the addresses that the compiler of a
// program and that of a second shared library come to.
#ifndef OVIX_TESTS_CONSUMERS_VIEW_H_
#define OVIX_TESTS_CONSUMERS_VIEW_H_

#include <google/protobuf/generated_message_util.h>

#include <typeinfo>

#include "ovix/telemetry/contract/contracts_collection.h"
#include "ovix/telemetry/contract/storage/cache.pb.h"
#include "ovix/telemetry/contract/storage/storage_options.pb.h"
#include "ovix/telemetry/contract/upload/upload_options.pb.h"

// As generated code that imports the option schema declares it.
extern const google::protobuf::internal::DescriptorTable
    descriptor_table_ovix_2ftelemetry_2fcontract_2fstorage_2fstorage_5foptions_2eproto;
// Compilers look at it in a cast to a final class.
extern "C" const void* const ovix_tests_vtable[] asm(
    "_ZTVN4ovix9telemetry8contract7storage14CollectorCacheE");

struct View {
  const google::protobuf::Message* default_instance;
  const google::protobuf::Message* option_default_instance;
  const google::protobuf::internal::DescriptorTable* table;
  const void* vtable;
  const std::type_info* type;
  const void* persistance;
  const void* column;
  const void* cdm;

  bool operator==(const View& other) const {
    return default_instance == other.default_instance &&
           option_default_instance == other.option_default_instance && table == other.table &&
           vtable == other.vtable && *type == *other.type && persistance == other.persistance &&
           column == other.column && cdm == other.cdm;
  }
};

inline __attribute__((always_inline)) View Here() {
  namespace storage = ovix::telemetry::contract::storage;
  return {storage::CollectorCache::internal_default_instance(),
          storage::PersistanceMessageOptions::internal_default_instance(),
          &descriptor_table_ovix_2ftelemetry_2fcontract_2fstorage_2fstorage_5foptions_2eproto,
          ovix_tests_vtable + 2,
          &typeid(storage::CollectorCache),
          &storage::persistance,
          &storage::column,
          &ovix::telemetry::contract::upload::cdm};
}

// What the second shared library sees.
__attribute__((visibility("default"))) View PluginsView();
// The database that its own table names; empty where it cannot read its options.
__attribute__((visibility("default"))) const char* PluginsDatabase();

#endif  // OVIX_TESTS_CONSUMERS_VIEW_H_
