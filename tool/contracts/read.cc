// Where a release of the contracts is read from.
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#ifndef _WIN32  // where protobuf is built without zlib
#include <google/protobuf/io/gzip_stream.h>
#endif

#include <algorithm>
#include <cstdint>

#include "contracts/contracts.h"
#include "contracts/revision.h"
#include "terminal/error.h"
#include "terminal/input.h"

namespace ovix::tool {
namespace {

constexpr std::string_view kGit = "git:";

bool IsGzip(std::string_view bytes) { return bytes.starts_with("\x1f\x8b"); }

// What gzip has compressed.
std::string Uncompressed(std::string_view bytes, const std::string& name) {
#ifdef _WIN32
  static_cast<void>(bytes);
  throw Error(name + ": is compressed by gzip, which is not read on Windows; uncompress it first");
#else
  google::protobuf::io::ArrayInputStream compressed(bytes.data(), static_cast<int>(bytes.size()));
  google::protobuf::io::GzipInputStream input(&compressed);
  std::string all;
  const void* piece = nullptr;
  for (int size = 0; input.Next(&piece, &size);) {
    all.append(static_cast<const char*>(piece), static_cast<size_t>(size));
  }
  // The stream takes what is cut off for its end; the last four bytes are the size of all.
  uint32_t size = 0;
  for (const char byte : bytes.substr(bytes.size() - std::min<size_t>(bytes.size(), 4))) {
    size = size >> 8 | uint32_t{static_cast<unsigned char>(byte)} << 24;
  }
  if (input.ZlibErrorCode() < 0 || size != static_cast<uint32_t>(all.size())) {
    throw Error(name + ": is damaged, gzip cannot uncompress it; get it again");
  }
  return all;
#endif
}

}  // namespace

std::unique_ptr<Contracts> Contracts::Read(const std::string& source) {
  if (source.starts_with(kGit)) {
    return std::make_unique<Contracts>(CompileRevision(source.substr(kGit.size()), source), source);
  }
  Input input(source);
  const std::string_view bytes = input.PeekAll();
  return std::make_unique<Contracts>(
      IsGzip(bytes) ? Uncompressed(bytes, input.name()) : std::string(bytes), input.name());
}

}  // namespace ovix::tool
