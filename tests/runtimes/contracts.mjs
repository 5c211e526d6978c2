// What the readers share: the contracts, known only from the descriptor set, and equality of values.
import { readFileSync } from "node:fs";
import { createFileRegistry, fromBinary } from "@bufbuild/protobuf";
import { FileDescriptorSetSchema } from "@bufbuild/protobuf/wkt";

export function readContracts(path) {
  return createFileRegistry(fromBinary(FileDescriptorSetSchema, readFileSync(path)));
}

// Equal values of two JSON trees; a float may have been printed with more digits.
export function same(ours, theirs) {
  if (typeof ours === "number" && typeof theirs === "number") {
    return ours === theirs || Math.fround(ours) === Math.fround(theirs);
  }
  if (Array.isArray(ours) && Array.isArray(theirs)) {
    return ours.length === theirs.length && ours.every((value, i) => same(value, theirs[i]));
  }
  if (ours !== null && theirs !== null && typeof ours === "object" && typeof theirs === "object") {
    const keys = Object.keys(ours);
    return keys.length === Object.keys(theirs).length && keys.every((key) => same(ours[key], theirs[key]));
  }
  return ours === theirs;
}
