// Reads payloads with the JavaScript runtime @bufbuild/protobuf, knowing the contracts only from the
// descriptor set.
//
// Usage: node read_payloads.mjs CONTRACTS.BINPB DIR...   Each DIR holds payloads, labels and values.
import { createHash } from "node:crypto";
import { readFileSync, readdirSync } from "node:fs";
import { join } from "node:path";
import { fromBinary, getOption, hasOption, toBinary, toJson } from "@bufbuild/protobuf";
import { readContracts, same } from "./contracts.mjs";

const [contractsPath, ...folders] = process.argv.slice(2);
const registry = readContracts(contractsPath);
const cdm = registry.getExtension("ovix.telemetry.contract.upload.cdm");
const persistance = registry.getExtension("ovix.telemetry.contract.storage.persistance");

// The options gun, version, type and database, empty where the schema sets none.
function optionsOf(message) {
  const upload = hasOption(message, cdm) ? getOption(message, cdm) : undefined;
  const storage = hasOption(message, persistance) ? getOption(message, persistance) : undefined;
  return {
    gun: upload?.gun ?? "",
    version: upload?.version ?? "",
    type: storage?.type ?? "",
    database: storage?.database?.name ?? "",
  };
}

function check(folder, label) {
  const payload = join(folder, label.payload);
  const bytes = readFileSync(payload);
  if (label.sha256 && createHash("sha256").update(bytes).digest("hex") !== label.sha256) {
    return "the hash is not the label's";
  }
  const descriptor = registry.getMessage(label.message);
  for (const [option, value] of Object.entries(optionsOf(descriptor))) {
    if (option in label && label[option] !== value) {
      return `option ${option} is '${value}', the label has '${label[option]}'`;
    }
  }
  const message = fromBinary(descriptor, bytes);
  if (Buffer.compare(toBinary(descriptor, message), bytes) !== 0) return "encodes to other bytes";
  const values = toJson(descriptor, message, { registry, useProtoFieldName: true });
  const expected = JSON.parse(readFileSync(`${payload}.values`, "utf8"));
  return same(values, expected) ? undefined : `has other values: ${JSON.stringify(values)}`;
}

let count = 0;
let failed = 0;
for (const folder of folders) {
  for (const name of readdirSync(folder).filter((file) => file.endsWith(".json")).sort()) {
    const label = JSON.parse(readFileSync(join(folder, name), "utf8"));
    const problem = check(folder, label);
    count += 1;
    if (problem) {
      failed += 1;
      console.error(`javascript: ${label.message}: ${problem}`);
    }
  }
}
console.log(`javascript: ${count} payloads read, ${failed} differ`);
process.exit(failed > 0 || count === 0 ? 1 : 0);
