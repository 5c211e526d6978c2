// Reads cases with the JavaScript runtime @bufbuild/protobuf, knowing the contracts only from the descriptor set:
// see hold_reader.py.
//
// Usage: node read_cases.mjs CONTRACTS.BINPB <CASES >ANSWERS
import { createInterface } from "node:readline";
import { fromBinary, getOption, hasOption, toBinary, toJson } from "@bufbuild/protobuf";
import { readContracts } from "./contracts.mjs";

const registry = readContracts(process.argv[2]);
const cdm = registry.getExtension("ovix.telemetry.contract.upload.cdm");

function answer(name, bytes) {
  const descriptor = registry.getMessage(name);
  const { gun, version } = hasOption(descriptor, cdm) ? getOption(descriptor, cdm) : { gun: "", version: "" };
  let message;
  try {
    message = fromBinary(descriptor, bytes);
  } catch {
    return [gun, version];
  }
  const values = toJson(descriptor, message, { registry, useProtoFieldName: true });
  const encoded = Buffer.from(toBinary(descriptor, message)).toString("hex");
  return [gun, version, encoded, JSON.stringify(values)];
}

for await (const line of createInterface({ input: process.stdin })) {
  const [name, data] = line.split("\t");
  console.log(answer(name, Buffer.from(data, "hex")).join("\t"));
}
