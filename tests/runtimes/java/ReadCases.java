// Reads cases with protobuf-java, knowing the contracts only from the descriptor set: see hold_reader.py.
//
// Usage: java ReadCases.java CONTRACTS.BINPB <CASES >ANSWERS
import com.google.protobuf.DescriptorProtos;
import com.google.protobuf.DescriptorProtos.FileDescriptorSet;
import com.google.protobuf.DescriptorProtos.MessageOptions;
import com.google.protobuf.Descriptors.*;
import com.google.protobuf.DynamicMessage;
import com.google.protobuf.ExtensionRegistry;
import com.google.protobuf.InvalidProtocolBufferException;
import com.google.protobuf.Message;
import com.google.protobuf.util.JsonFormat;
import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.HashMap;
import java.util.HexFormat;
import java.util.Map;

final class ReadCases {
  private final Map<String, FileDescriptor> files = new HashMap<>();
  private final Map<String, Descriptor> messages = new HashMap<>();
  private final ExtensionRegistry extensions = ExtensionRegistry.newInstance();
  private final FieldDescriptor cdm;
  private final JsonFormat.Printer printer =
      JsonFormat.printer().preservingProtoFieldNames().omittingInsignificantWhitespace();

  private ReadCases(Path contracts) throws IOException, DescriptorValidationException {
    for (var file : FileDescriptorSet.parseFrom(Files.readAllBytes(contracts)).getFileList()) {
      boolean hasOptions = file.getName().equals("google/protobuf/descriptor.proto");
      var imports = file.getDependencyList().stream().map(files::get).toArray(FileDescriptor[]::new);
      var built = hasOptions ? DescriptorProtos.getDescriptor() : FileDescriptor.buildFrom(file, imports);
      files.put(file.getName(), built);
      built.getMessageTypes().forEach(this::add);
    }
    var options = files.get("ovix/telemetry/contract/upload/upload_options.proto");
    cdm = options.findExtensionByName("cdm");
    extensions.add(cdm, DynamicMessage.getDefaultInstance(cdm.getMessageType()));
  }

  private void add(Descriptor message) {
    messages.put(message.getFullName(), message);
    message.getNestedTypes().forEach(this::add);
  }

  private String option(Descriptor message, String name) throws InvalidProtocolBufferException {
    var options = MessageOptions.parseFrom(message.getOptions().toByteString(), extensions);
    var value = (Message) options.getField(cdm);
    return (String) value.getField(cdm.getMessageType().findFieldByName(name));
  }

  private String answer(String name, byte[] bytes) throws InvalidProtocolBufferException {
    var descriptor = messages.get(name);
    var options = option(descriptor, "gun") + "\t" + option(descriptor, "version");
    try {
      var message = DynamicMessage.parseFrom(descriptor, bytes);
      var again = HexFormat.of().formatHex(message.toByteArray());
      return options + "\t" + again + "\t" + printer.print(message);
    } catch (InvalidProtocolBufferException refused) {
      return options;
    }
  }

  public static void main(String[] arguments) throws Exception {
    var reader = new ReadCases(Path.of(arguments[0]));
    var cases = new BufferedReader(new InputStreamReader(System.in, StandardCharsets.UTF_8));
    try (var answers = new PrintStream(System.out, false, StandardCharsets.UTF_8)) {
      for (String line; (line = cases.readLine()) != null; ) {
        String[] fields = line.split("\t", -1);
        answers.print(reader.answer(fields[0], HexFormat.of().parseHex(fields[1])) + "\n");
      }
    }
  }
}
