// ContractsCollection: iterates a prototype of every message class of the library.
//
//   ovix::telemetry::contract::ContractsCollection contracts;
//   while (const google::protobuf::Message* prototype = contracts.Next()) {
//     const google::protobuf::Descriptor* descriptor = prototype->GetDescriptor();
//     ...  // read the options persistance or cdm, make a table, route a payload
//   }
#ifndef OVIX_TELEMETRY_CONTRACT_CONTRACTS_COLLECTION_H_
#define OVIX_TELEMETRY_CONTRACT_CONTRACTS_COLLECTION_H_

#include <memory>
#include <vector>

#include <google/protobuf/message.h>

#include "ovix/telemetry/contract/export.h"

namespace ovix::telemetry::contract {

// A cursor over the prototypes: one default-constructed instance of each message class, the option
// records, the database markers and every nested type included. Filter by the options persistance
// (tables) and cdm (payloads).
//
// The order never depends on the machine: schema files by path, compared without regard to case and
// with "_" after every letter, digit, "/" and "."; within a file its classes by name in byte order.
// (The folder upload/vorlan/ comes between upload/log/ and upload/peripherals/.)
//
// The prototypes are made once, when the library is loaded, and live until it is unloaded. They are
// shared and must not be modified; make a record with prototype->New().
//
// Thread-safety: any number of threads may iterate the prototypes at once, each with a
// ContractsCollection of its own; one object belongs to one thread at a time.
class OVIX_TELEMETRY_DATA_CONTRACTS_EXPORT ContractsCollection {
 public:
  // A cursor at the first prototype.
  ContractsCollection() noexcept;
  // A copy starts at the position of the original and moves independently.
  ContractsCollection(const ContractsCollection& other) noexcept;
  ContractsCollection& operator=(const ContractsCollection& other) noexcept;
  // Releases nothing: the prototypes belong to the library.
  virtual ~ContractsCollection();

  // Whether Next() has another prototype to give.
  bool HasNext() const noexcept;

  // The prototype at the cursor, which then moves on by one; null at the end, however often it is
  // called there. The library owns the message.
  const google::protobuf::Message* Next() noexcept;

  // Puts the cursor back to the first prototype.
  void Restart() noexcept;

 private:
  static const std::vector<std::shared_ptr<google::protobuf::Message>> _collection;

  // The next prototype to hand out; null for a cursor made before the library's own initialisers
  // have run, which is then at its end.
  const std::shared_ptr<google::protobuf::Message>* cursor_;
};

}  // namespace ovix::telemetry::contract

#endif  // OVIX_TELEMETRY_CONTRACT_CONTRACTS_COLLECTION_H_
