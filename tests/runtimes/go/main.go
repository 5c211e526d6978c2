// Reads cases with Go's protobuf module, knowing the contracts only from the descriptor set: see hold_reader.py.
//
// Usage: readers CONTRACTS.BINPB <CASES >ANSWERS
package main

import (
	"bufio"
	"encoding/hex"
	"fmt"
	"log"
	"os"
	"strings"

	"google.golang.org/protobuf/encoding/protojson"
	"google.golang.org/protobuf/proto"
	"google.golang.org/protobuf/reflect/protodesc"
	"google.golang.org/protobuf/reflect/protoreflect"
	"google.golang.org/protobuf/types/descriptorpb"
	"google.golang.org/protobuf/types/dynamicpb"
)

func must[T any](value T, err error) T {
	if err != nil {
		log.Fatal(err)
	}
	return value
}

// The options gun and version, empty where the schema sets none.
func options(contracts *dynamicpb.Types, message protoreflect.Descriptor) string {
	cdm := must(contracts.FindExtensionByName("ovix.telemetry.contract.upload.cdm"))
	options := &descriptorpb.MessageOptions{}
	resolver := proto.UnmarshalOptions{Resolver: contracts}
	if err := resolver.Unmarshal(must(proto.Marshal(message.Options())), options); err != nil {
		log.Fatal(err)
	}
	value := options.ProtoReflect().Get(cdm.TypeDescriptor()).Message()
	fields := value.Descriptor().Fields()
	return value.Get(fields.ByName("gun")).String() + "\t" + value.Get(fields.ByName("version")).String()
}

func main() {
	var set descriptorpb.FileDescriptorSet
	if err := proto.Unmarshal(must(os.ReadFile(os.Args[1])), &set); err != nil {
		log.Fatal(err)
	}
	files := must(protodesc.NewFiles(&set))
	contracts := dynamicpb.NewTypes(files)
	printer := protojson.MarshalOptions{UseProtoNames: true}
	encoder := proto.MarshalOptions{Deterministic: true} // fields in their order
	cases := bufio.NewScanner(os.Stdin)
	cases.Buffer(nil, 1<<30)
	answers := bufio.NewWriter(os.Stdout)
	defer answers.Flush()
	for cases.Scan() {
		name, data, _ := strings.Cut(cases.Text(), "\t")
		descriptor := must(files.FindDescriptorByName(protoreflect.FullName(name)))
		message := dynamicpb.NewMessage(descriptor.(protoreflect.MessageDescriptor))
		fmt.Fprint(answers, options(contracts, descriptor))
		if proto.Unmarshal(must(hex.DecodeString(data)), message) == nil {
			again := hex.EncodeToString(must(encoder.Marshal(message)))
			fmt.Fprintf(answers, "\t%s\t%s", again, must(printer.Marshal(message)))
		}
		fmt.Fprintln(answers)
	}
	must(0, cases.Err())
}
