// Prints the tables with their databases and types, as the JavaScript runtime @bufbuild/protobuf reads them from the
// descriptor set.
//
// Usage: node read_tables.mjs CONTRACTS.BINPB
import { getOption, hasOption } from "@bufbuild/protobuf";
import { readContracts } from "./contracts.mjs";

const registry = readContracts(process.argv[2]);
const persistance = registry.getExtension("ovix.telemetry.contract.storage.persistance");
for (const message of registry) {
  if (message.kind === "message" && hasOption(message, persistance)) {
    const { database, type } = getOption(message, persistance);
    if (type) console.log([message.typeName, database?.name, type].join());
  }
}
