# Writes a file's bytes as C++, so that the executable needs no file next to it.
#
# Called by the build as: cmake -D INPUT= -D OUTPUT= -P embed.cmake

file(READ "${INPUT}" bytes HEX)
string(REGEX REPLACE "(................................................................)" "\\1\n" bytes "${bytes}")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
file(WRITE "${OUTPUT}" "#include \"contracts/embedded.h\"

namespace ovix::tool {

static constexpr unsigned char bytes[] = {
${bytes}};

std::string_view EmbeddedDescriptorSet() {
  return {reinterpret_cast<const char*>(bytes), sizeof bytes};
}

}  // namespace ovix::tool
")
