// What the readers share: the contracts, known only from the descriptor set.
import { readFileSync } from "node:fs";
import { createFileRegistry, fromBinary } from "@bufbuild/protobuf";
import { FileDescriptorSetSchema } from "@bufbuild/protobuf/wkt";

export function readContracts(path) {
  return createFileRegistry(fromBinary(FileDescriptorSetSchema, readFileSync(path)));
}
