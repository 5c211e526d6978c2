// Holds the JavaScript runtime @bufbuild/protobuf against cases that write_cases has written.
//
// Usage: node read_cases.mjs CONTRACTS.BINPB CASES
import { createReadStream } from "node:fs";
import { createInterface } from "node:readline";
import { fromBinary, toBinary, toJson } from "@bufbuild/protobuf";
import { readContracts, same } from "./contracts.mjs";

const [contractsPath, casesPath] = process.argv.slice(2);
const registry = readContracts(contractsPath);

function check(name, bytes, oddities, accepted, encoded, values) {
  // This runtime reads a field by the schema's type whatever wire type it comes with, does not hold a
  // field to the end of what it is in, and reads no tag of more than 32 bits; but lengths and unknown
  // fields of more, and the ends of groups that have not begun.
  if (/[etw]/.test(oddities) || (!accepted && /[glv]/.test(oddities))) {
    passedOver += 1;
    return undefined;
  }
  const descriptor = registry.getMessage(name);
  let message;
  try {
    message = fromBinary(descriptor, bytes);
  } catch {
    return accepted ? "refuses what is accepted" : undefined;
  }
  if (!accepted) return "accepts what is refused";
  // It keeps unknown fields as they came, and no bits of a NaN.
  if (!/[nv]/.test(oddities) && Buffer.compare(toBinary(descriptor, message), encoded) !== 0) {
    return "encodes to other bytes";
  }
  const ours = toJson(descriptor, message, { registry, useProtoFieldName: true });
  return same(ours, JSON.parse(values)) ? undefined : "has other values";
}

const problems = {};
let count = 0;
let passedOver = 0;
for await (const line of createInterface({ input: createReadStream(casesPath) })) {
  const [name, data, oddities, accepted, encoded = "", ...rest] = line.split("\t");
  const problem = check(
    name, Buffer.from(data, "hex"), oddities, accepted === "1", Buffer.from(encoded, "hex"), rest.join("\t"));
  count += 1;
  if (problem) {
    problems[problem] = (problems[problem] ?? 0) + 1;
    if (problems[problem] <= 5) console.error(`javascript: ${name}: ${problem}: ${data}`);
  }
}
const differing = Object.values(problems).reduce((sum, each) => sum + each, 0);
console.log(`javascript: ${count} cases, ${passedOver} of them odd and passed over, ${differing} differ ${JSON.stringify(problems)}`);
process.exit(differing > 0 || count === 0 ? 1 : 0);
