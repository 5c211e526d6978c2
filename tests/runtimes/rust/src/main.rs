//! Reads cases with prost and prost-reflect, knowing the contracts only from the descriptor set: see
//! hold_reader.py.
//!
//! Usage: read-cases CONTRACTS.BINPB <CASES >ANSWERS
use prost::Message;
use prost_reflect::{DescriptorPool, DynamicMessage, MessageDescriptor, SerializeOptions};
use std::error::Error;
use std::io::{stdin, stdout, BufWriter, Write};

/// The options gun and version, empty where the schema sets none.
fn options(contracts: &DescriptorPool, message: &MessageDescriptor) -> String {
    let cdm = contracts
        .get_extension_by_name("ovix.telemetry.contract.upload.cdm")
        .unwrap();
    let options = message.options();
    let value = options.get_extension(&cdm);
    let value = value.as_message().unwrap();
    let text = |name| {
        value
            .get_field_by_name(name)
            .unwrap()
            .as_str()
            .unwrap()
            .to_owned()
    };
    text("gun") + "\t" + &text("version")
}

fn main() -> Result<(), Box<dyn Error>> {
    let path = std::env::args()
        .nth(1)
        .ok_or("usage: read-cases CONTRACTS.BINPB")?;
    let contracts = DescriptorPool::decode(std::fs::read(path)?.as_slice())?;
    let names = SerializeOptions::new().use_proto_field_name(true);
    let mut answers = BufWriter::new(stdout().lock());
    for line in stdin().lines() {
        let line = line?;
        let (name, data) = line.split_once('\t').ok_or("a case without bytes")?;
        let descriptor = contracts
            .get_message_by_name(name)
            .ok_or("unknown message")?;
        write!(answers, "{}", options(&contracts, &descriptor))?;
        if let Ok(message) = DynamicMessage::decode(descriptor, hex::decode(data)?.as_slice()) {
            let mut json = serde_json::Serializer::new(Vec::new());
            message.serialize_with_options(&mut json, &names)?;
            write!(answers, "\t{}\t", hex::encode(message.encode_to_vec()))?;
            answers.write_all(&json.into_inner())?;
        }
        writeln!(answers)?;
    }
    Ok(answers.flush()?)
}
