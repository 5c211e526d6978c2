// What ovix-contracts exports, held by other programs: ajv validates what the tool decodes by its
// JSON Schemas, and its documents of the Open Data Contract Standard by the standard's own schema.
// Usage: node export_test.mjs OVIX_CONTRACTS OVIX_AGENT KINDS.BINPB CORPUS.BINPB
import assert from 'node:assert/strict';
import { execFileSync, spawnSync } from 'node:child_process';
import { existsSync, mkdtempSync, readFileSync, readdirSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import Ajv2019 from 'ajv/dist/2019.js';
import Ajv2020 from 'ajv/dist/2020.js';

const [tool, agent, kinds, corpus] = process.argv.slice(2);
const work = mkdtempSync(join(tmpdir(), 'export-test-'));
after(() => rmSync(work, { recursive: true }));
const limit = { maxBuffer: 1 << 28 };
const run = (...words) => execFileSync(tool, words, { encoding: 'utf8', ...limit });
const lines = (text) => text.split('\n').filter((line) => line !== '').map((line) => JSON.parse(line));

// The annotations of docs/tool.md; in strict mode ajv refuses every keyword that it does not know.
const annotations = ['gun', 'version', 'database', 'table', 'key', 'unit', 'format', 'privacy', 'meanings', 'numbers'];
function validatorOf(schema) {
  const ajv = new Ajv2020({ strict: true, allowUnionTypes: true });
  ajv.addVocabulary(annotations.map((name) => `x-${name}`));
  for (const format of ['date-time', 'date']) ajv.addFormat(format, true);
  return ajv.compile(schema);
}

const contracts = []; // { name, schema, validate } of each table and payload
const validators = {};
before(() => {
  run('export', '--as', 'jsonschema', '--out', join(work, 'schemas'));
  for (const file of readdirSync(join(work, 'schemas'))) {
    if (file === 'files.txt') continue;
    const schema = JSON.parse(readFileSync(join(work, 'schemas', file), 'utf8'));
    const name = file.replace(/\.schema\.json$/, '');
    contracts.push({ name, schema, validate: validatorOf(schema) });
    validators[name] = contracts.at(-1).validate;
  }
});

function assertValid(validate, message, what) {
  if (validate(message)) return;
  assert.fail(`${what}: ${JSON.stringify(validate.errors)} in ${JSON.stringify(message)}`);
}

test('every table and payload has a schema of its own', () => {
  const list = JSON.parse(run('list', '--format', 'json'));
  const listed = [...list.tables, ...list.payloads];
  assert.deepEqual(contracts.map(({ name }) => name).sort(), listed.map(({ name }) => name).sort());
  assert.equal(new Set(contracts.map(({ schema }) => schema.$id)).size, listed.length);
  for (const { name, gun, version } of list.payloads) {
    const { schema } = contracts.find((contract) => contract.name === name);
    assert.equal(schema.$id, `urn:ovix-contracts:${gun}:${version}`);
  }
});

test('samples of every table and payload are valid', () => {
  for (const { name, validate } of contracts) {
    const samples = lines(run('sample', name, '-n', '20'));
    assert.equal(samples.length, 20);
    for (const sample of samples) assertValid(validate, sample, name);
  }
});

test('the payloads of an outbox are valid', () => {
  execFileSync(agent, ['collect', join(work, 'store')], limit);
  execFileSync(agent, ['upload', join(work, 'store'), join(work, 'outbox')], limit);
  const payloads = lines(run('decode', join(work, 'outbox')));
  assert.ok(payloads.length >= 3, `${payloads.length} payloads`);
  for (const { label, message } of payloads) assertValid(validators[label.message], message, label.message);
});

// The encodings of a delimited stream of google.protobuf.Any, by type.
function messagesOf(file) {
  const bytes = readFileSync(file);
  let at = 0;
  const varint = () => {
    let value = 0;
    for (let shift = 0; ; shift += 7) {
      const byte = bytes[at++];
      value += (byte & 127) * 2 ** shift;
      if (byte < 128) return value;
    }
  };
  const found = new Map();
  while (at < bytes.length) {
    const size = varint();
    const end = at + size;
    let name = '';
    let value = Buffer.alloc(0);
    while (at < end) {
      const isName = varint() >> 3 === 1;
      const length = varint();
      const field = bytes.subarray(at, (at += length));
      if (isName) name = field.toString().split('/').pop();
      else value = field;
    }
    found.set(name, [...(found.get(name) ?? []), value]);
  }
  return found;
}

function delimited(messages) {
  return Buffer.concat(messages.flatMap((message) => {
    const prefix = [];
    let rest = message.length;
    for (; rest > 127; rest >>= 7) prefix.push((rest & 127) | 128);
    return [Buffer.from([...prefix, rest]), message];
  }));
}

// The corpus has what no sender may send; of that a schema finds what is not in a closed list, as
// check does, and nothing else.
test('the corpus of the first release is valid, but for values outside closed lists', () => {
  let unlisted = 0;
  const messages = messagesOf(corpus);
  assert.equal(messages.size, 324);
  for (const [name, encodings] of messages) {
    const validate = validators[name] ?? validatorOf(JSON.parse(run('export', name, '--as', 'jsonschema')));
    const input = delimited(encodings);
    // Exit code 1: the corpus has unknown fields too, which JSON has no form for.
    const decoded = spawnSync(tool, ['decode', name, '--delimited'], { input, encoding: 'utf8' });
    const checked = spawnSync(tool, ['check', name, '--delimited'], { input, encoding: 'utf8' }).stdout;
    lines(decoded.stdout).forEach((message, i) => {
      const isListed = !checked.split('\n').some((line) =>
        line.startsWith(`standard input: message ${i + 1}:`) && line.includes(' is not one of '));
      if (!isListed) ++unlisted;
      assert.equal(validate(message), isListed, `${name} ${i + 1}: ${JSON.stringify(validate.errors)}`);
    });
    assert.equal(lines(decoded.stdout).length, 4, name);
  }
  assert.ok(unlisted > 0 && unlisted < 50, `${unlisted}`);
});

// Calls `visit` for each value in a message, with what sets it.
function visitValues(message, visit, path = '') {
  for (const [name, value] of Object.entries(message)) {
    visit(`${path}/${name}`, value, (other) => { message[name] = other; });
    if (typeof value === 'object') visitValues(value, visit, `${path}/${name}`);
  }
}

test('a value of another type, or an unknown field, is refused at its place', () => {
  let tried = 0;
  for (const { name, validate } of contracts) {
    const [sample] = lines(run('sample', name));
    visitValues(sample, (path, value, set) => {
      set(typeof value === 'object' ? 'x' : {});
      assert.ok(!validate(sample), `${name}${path}`);
      assert.equal(validate.errors[0].instancePath, path);
      set(value);
      ++tried;
      if (typeof value === 'object' && !Array.isArray(value)) {
        value.unknown = 1;
        assert.ok(!validate(sample), `${name}${path}`);
        delete value.unknown;
      }
    });
    sample.unknown = 1;
    assert.ok(!validate(sample), name);
  }
  assert.ok(tried > 1500, `${tried}`);
});

// --- A payload with every kind of field.

const kind = ['--contracts', kinds];
const filled = {
  version: '1.2.0-beta.1',
  int32_value: -2147483648,
  int64_value: '-9223372036854775808',
  uint32_value: 4294967295,
  uint64_value: '18446744073709551615',
  float_value: 3.4028235e38,
  double_value: 1.7976931348623157e308,
  bool_value: true,
  string_value: 'a"\\\u2028<',
  bytes_value: 'AP8=',
  enum_value: 'COLOUR_BLUE',
  message_value: { inner: { inner: {}, colour: 77 }, seconds: '1' },
  recursive_value: { recursive_value: { int32_value: 1 } },
  uint32_list: [0, 4294967295],
  enum_list: ['COLOUR_RED', -2147483648],
  bytes_list: ['', 'AA==', 'AAA=', 'AAAA'],
  string_map: { '': -2147483648, x: 1 },
  int32_map: { '-2147483648': '', 2147483647: 'x', 0: 'y' },
  uint64_map: { '18446744073709551615': { colour: 'COLOUR_RED' } },
  bool_map: { false: 'COLOUR_NONE', true: 99 },
  either_number: 1,
  closed_text: 'on',
  closed_number: -7,
  closed_uint64: '18446744073709551615',
  open_number: 9,
  open_list: ['a', 'b'],
  flags: 5,
  height: '9223372036854775807',
  moment: 'any text',
  day: 'any text',
  old_name_ms: 1,
  closed_list: ['x', 'y', 'x'],
};
// What the tool decodes from the bytes of a message.
function decoded(message) {
  const input = execFileSync(tool, ['encode', 'KindsAsCDM', ...kind], { input: JSON.stringify(message) });
  return JSON.parse(execFileSync(tool, ['decode', 'KindsAsCDM', ...kind], { input, encoding: 'utf8' }));
}
const schemaOfKinds = (...words) => JSON.parse(run('export', 'KindsAsCDM', '--as', 'jsonschema', ...kind, ...words));

test('what the tool decodes of every kind of field is valid', () => {
  const validate = validatorOf(schemaOfKinds());
  const message = decoded(filled);
  assert.deepEqual(Object.keys(message).sort(), Object.keys(filled).sort());
  assertValid(validate, message, 'filled');
  assertValid(validate, decoded({}), 'empty');
  for (const [name, values] of Object.entries({
    int32_value: [1, 2147483647],
    int32_map: [2147483639, -2147483647, 1999999999].map((key) => ({ [key]: '' })),
    int64_value: ['-1', '9223372036854775807', '10', '999999999999999999', '8999999999999999999'],
    uint64_value: ['1', '9999999999999999999', '10000000000000000000', '17999999999999999999', '18446744073709551609'],
    float_value: [1e-45, -3.4028235e38, 'NaN', 'Infinity', '-Infinity', -0.5],
    double_value: [5e-324, 'NaN', 'Infinity', '-Infinity'],
    closed_number: [1],
    flags: [1, 4],
  })) {
    for (const value of values) assertValid(validate, decoded({ [name]: value }), name);
  }
});

test('what no message can hold is refused', () => {
  const validate = validatorOf(schemaOfKinds());
  const cases = {
    int32_value: [-2147483649, 2147483648, 1.5, '1', 'NaN', null, true, [1]],
    int64_value: ['9223372036854775808', '-9223372036854775809', '10000000000000000000', '-0', '01', '+1', '', '1 ', '1e3', '٣', 1],
    uint32_value: [-1, 4294967296, 1.5, '1', null],
    uint64_value: ['18446744073709551616', '18446744073709551620', '19000000000000000000', '20000000000000000000', '-1', '00', '1.0', '', 1],
    float_value: [3.5e38, -1e39, 'nan', 'inf', '1', '', null],
    double_value: ['nan', '1', null],
    bool_value: ['true', 1, 0, null],
    string_value: [1, null, []],
    bytes_value: ['A', 'AQ', 'AQ=', 'AR==', 'AAB=', 'A_8=', 'A-8=', 'AAA', '=', 'AA==AA==', '*', ' ', 'AAAA\n', 1],
    enum_value: ['COLOUR_GREEN', 'COLOUR_RED ', '1', 2147483648, 1.5, null],
    message_value: [null, [], 'x', { unknown: 1 }, { seconds: '-1' }, { inner: { inner: { seconds: 1 } } }],
    recursive_value: [{ recursive_value: { int32_value: 'x' } }, { unknown: 1 }],
    uint32_list: [1, [null], [-1], [[1]], {}],
    enum_list: ['COLOUR_RED', ['x']],
    bytes_list: [['A']],
    string_map: [{ x: 2147483648 }, { x: '1' }, []],
    int32_map: [{ x: '' }, { '01': '' }, { 2147483648: '' }, { 2147483650: '' }, { 3000000000: '' }, { 10000000000: '' }, { 1: 1 }],
    uint64_map: [{ '-1': {} }, { 1: { unknown: 1 } }],
    bool_map: [{ yes: 'COLOUR_RED' }, { true: 'x' }],
    either_number: ['1'],
    closed_text: ['ON', '', 'on '],
    closed_number: [7, 0, -8, '1'],
    closed_uint64: ['2', '0', 1],
    flags: [8, -1],
    closed_list: [['z'], 'x'],
    unknown: [1, null],
    // The name in lower camel case is not what the tool prints.
    int32Value: [1],
  };
  for (const [name, values] of Object.entries(cases)) {
    for (const value of values) {
      assert.ok(!validate({ ...filled, [name]: value }), `${name}: ${JSON.stringify(value)}`);
    }
  }
  const two = { either_number: 1, either_message: {} };
  assert.ok(!validate(two), 'two of a oneof');
});

test('--allow-unknown lets the fields of newer contracts through, at every depth, and nothing else', () => {
  const validate = validatorOf(schemaOfKinds('--allow-unknown'));
  assertValid(validate, { ...filled, unknown: 1, message_value: { inner: { unknown: {} } } }, 'unknown');
  assert.ok(!validate({ unknown: 1, int32_value: 'x' }));
  assert.ok(!validate({ either_number: 1, either_text: '' }));
});

// --- Documents of the Open Data Contract Standard.

const standard = new URL('../../build/test/python/packages/open_data_contract_standard/schema.json', import.meta.url);
let validateOdcs;
const documents = {};
before(() => {
  assert.ok(existsSync(standard), "the standard's schema is not installed; run scripts/setup test");
  const ajv = new Ajv2019({ strict: false });
  for (const format of ['date-time', 'date', 'uri']) ajv.addFormat(format, true);
  validateOdcs = ajv.compile(JSON.parse(readFileSync(standard, 'utf8')));
  run('export', '--as', 'odcs', '--out', join(work, 'odcs'));
  for (const file of readdirSync(join(work, 'odcs'))) {
    if (file !== 'files.txt') documents[file] = JSON.parse(readFileSync(join(work, 'odcs', file), 'utf8'));
  }
});

test('every document is valid by the schema of the standard', () => {
  const list = JSON.parse(run('list', '--format', 'json'));
  const databases = new Set(list.tables.map(({ database }) => database));
  assert.equal(Object.keys(documents).length, databases.size + list.payloads.length);
  for (const [file, document] of Object.entries(documents)) assertValid(validateOdcs, document, file);
  for (const { name, gun, version } of list.payloads) {
    const document = documents[`${name}.odcs.yaml`];
    assert.deepEqual([document.apiVersion, document.id, document.version], ['v3.1.0', gun, version]);
    assert.equal(document.status, /-|^0/.test(version) ? 'draft' : 'active', name);
  }
  for (const words of [['KindsAsCDM'], ['--database', 'Exported']]) {
    assertValid(validateOdcs, JSON.parse(run('export', '--as', 'odcs', ...words, ...kind)), words.join(' '));
  }
  // The schema's own check: what the standard does not have is refused.
  const wrong = [
    (document) => delete document.apiVersion,
    (document) => { document.schema[0].unit = 's'; },
    (document) => { document.schema[0].properties[0].logicalType = 'text'; },
    (document) => { document.schema[0].properties[0].unit = 's'; },
    (document) => { document.schema[0].properties[0].logicalTypeOptions = { bits: 8 }; },
    (document) => { document.slaProperties[0].limit = 1; },
  ];
  for (const change of wrong) {
    const document = structuredClone(documents['HealthLog.odcs.yaml']);
    change(document);
    assert.ok(!validateOdcs(document), String(change));
  }
});

test('the tables, types and keys are those of the SQL, and the limits those of the list', () => {
  const list = JSON.parse(run('list', '--format', 'json', '--tables')).tables;
  let columns = 0;
  for (const database of new Set(list.map((table) => table.database))) {
    const document = documents[`${database}.odcs.yaml`];
    const sql = run('ddl', '--database', database);
    const created = [...sql.matchAll(/CREATE TABLE "(\w+)" \((.*)\)/g)];
    assert.deepEqual(document.schema.map(({ name }) => name), created.map((table) => table[1]));
    document.schema.forEach(({ name, properties }, i) => {
      const key = properties.filter(({ primaryKey }) => primaryKey)
        .sort((a, b) => a.primaryKeyPosition - b.primaryKeyPosition);
      const own = properties.map((property) =>
        `"${property.name}" ${property.physicalType}${property.required ? ' NOT NULL' : ''}`);
      const last = key.length === 0 ? [] : [`PRIMARY KEY (${key.map((property) => `"${property.name}"`).join(', ')})`];
      assert.equal([...own, ...last].join(', '), created[i][2].replace(', "_arrival" INTEGER', ''), name);
      columns += own.length;
    });
    const limits = (element, unit) =>
      document.slaProperties.find((limit) => limit.element === element && limit.unit === unit)?.value ?? 0;
    for (const table of list.filter((table) => table.database === database)) {
      assert.equal(limits(table.table, 'rows'), table.max_rows);
      assert.equal(limits(`${table.table}.time`, 'd'), table.max_time_days);
      assert.equal(limits(undefined, 'MiB'), table.database_max_size_mb);
    }
  }
  assert.ok(columns > 500, `${columns}`);
});

test('every fact and origin that show knows is in the documents', () => {
  let facts = 0;
  const hold = (properties, shown, parts) => {
    assert.deepEqual(properties.map(({ name }) => name), shown.fields.map(({ name }) => name), shown.name);
    shown.fields.forEach((field, i) => {
      const property = properties[i];
      const where = `${shown.name}.${field.name}`;
      const custom = Object.fromEntries((property.customProperties ?? []).map(({ property: key, value }) => [key, value]));
      const type = property.logicalType === 'array' ? property.items : property;
      assert.equal(property.classification, field.privacy, where);
      assert.equal(custom.unit, field.unit, where);
      const format = type.logicalTypeOptions?.format;
      if (type.logicalType === 'string') assert.equal(format ?? custom.format, field.format, where);
      assert.deepEqual(property.transformSourceObjects ?? [], field.sources.flatMap(({ field: from }) => from ?? []), where);
      if (type.properties) hold(type.properties, parts.find((part) => part.name === custom.message), parts);
      facts += (field.privacy ? 1 : 0) + (field.unit ? 1 : 0) + (field.format ? 1 : 0) + field.sources.length;
    });
  };
  for (const document of Object.values(documents)) {
    for (const object of document.schema) {
      const name = object.customProperties.find(({ property }) => property === 'message')?.value ?? object.physicalName;
      const shown = JSON.parse(run('show', name, '--format', 'json'));
      hold(object.properties, shown, shown.types);
    }
  }
  assert.ok(facts > 1500, `${facts}`);
});
