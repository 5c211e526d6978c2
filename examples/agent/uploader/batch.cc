#include "uploader/batch.h"

#include <zlib.h>

#include <limits>
#include <stdexcept>
#include <vector>

#include "store/error.h"

namespace ovix::agent {

// Makes a gzip file of text. Its header has neither a time nor a name: the same payloads give the
// same file.
class BatchFile::Compressor {
 public:
  Compressor() : output_(1 << 16) {
    constexpr int kGzip = 16;
    constexpr int kMemoryLevel = 8;
    if (deflateInit2(&stream_, Z_DEFAULT_COMPRESSION, Z_DEFLATED, MAX_WBITS + kGzip, kMemoryLevel,
                     Z_DEFAULT_STRATEGY) != Z_OK) {
      throw std::runtime_error("zlib cannot begin to compress; free memory");
    }
  }
  ~Compressor() { deflateEnd(&stream_); }
  Compressor(const Compressor&) = delete;
  Compressor& operator=(const Compressor&) = delete;

  // Hands what is compressed to `write`, piece by piece.
  template <typename Write>
  void Run(std::string_view text, bool is_last, const Write& write) {
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream_.avail_in = static_cast<uInt>(text.size());
    do {
      stream_.next_out = output_.data();
      stream_.avail_out = static_cast<uInt>(output_.size());
      deflate(&stream_, is_last ? Z_FINISH : Z_NO_FLUSH);
      write(std::string_view(reinterpret_cast<const char*>(output_.data()),
                             output_.size() - stream_.avail_out));
    } while (stream_.avail_out == 0);
  }

 private:
  z_stream stream_ = {};
  std::vector<Bytef> output_;
};

BatchFile::BatchFile(std::filesystem::path file, Files& files)
    : file_(std::move(file)), files_(files), compressor_(std::make_unique<Compressor>()) {
  files_.Remove(part());  // left by a run that was killed
  Check(files_.Create(part(), opened_));
  is_open_ = is_left_ = true;
}

BatchFile::~BatchFile() {
  if (!is_left_) return;
  try {
    if (is_open_) files_.Close(opened_);
    files_.Remove(part());
  } catch (...) {  // of Files; the next batch of this name removes it
  }
}

std::filesystem::path BatchFile::part() const {
  std::filesystem::path name = ".";
  name += file_.filename();
  name += ".ovix-part";
  return file_.parent_path() / name;
}

void BatchFile::Check(const std::error_code& error) const {
  if (!error) return;
  throw std::runtime_error(Printable(file_) + ": the batch cannot be written (" + error.message() +
                           "); free space, fix the folder's permissions or name another file");
}

void BatchFile::Compress(std::string_view text, bool is_last) {
  compressor_->Run(text, is_last, [&](std::string_view piece) {
    if (piece.empty()) return;
    Check(files_.Write(opened_, piece));
    bytes_ += piece.size();
  });
}

void BatchFile::Add(const Label& label, std::string_view payload) {
  const std::string line = label.ToBatchLine(payload) + "\n";
  if (line.size() > std::numeric_limits<uInt>::max()) {
    throw std::runtime_error(label.id + ": the payload is too large for a batch");
  }
  Compress(line, false);
  ++payloads_;
}

void BatchFile::Finish() {
  Compress("", true);
  Check(files_.Sync(opened_));
  is_open_ = false;
  Check(files_.Close(opened_));
  Check(files_.Rename(part(), file_));
  is_left_ = false;
  const std::filesystem::path folder = file_.parent_path();
  Check(files_.SyncFolder(folder.empty() ? "." : folder));
}

}  // namespace ovix::agent
