// SPDX-License-Identifier: Apache-2.0
#include "capture/capture_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

#include "capture/source_error.h"
#include "net/descriptor.h"

namespace byod::capture {
namespace {

constexpr int kFirstOfGzip = 0x1F;  // no capture file begins with it

void Close(std::FILE* stream) {
  if (stream != stdin) std::fclose(stream);
}

[[noreturn]] void Fail(const std::string& path, const std::string& reason) {
  throw SourceError(path + ": " + reason, false);
}

/// Opens a file that does not keep its reader waiting, as a FIFO does. @throws SourceError
std::FILE* OpenRegular(const std::string& path) {
  net::Descriptor descriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status = {};
  if (!descriptor || fstat(descriptor.get(), &status) != 0) Fail(path, std::strerror(errno));
  if (S_ISDIR(status.st_mode)) Fail(path, std::strerror(EISDIR));
  if (!S_ISREG(status.st_mode)) Fail(path, "not a regular file; - reads standard input");
  std::FILE* const file = fdopen(descriptor.get(), "rb");
  if (file == nullptr) Fail(path, std::strerror(errno));
  descriptor.release();
  return file;
}

int PeekAt(std::FILE* stream) {
  const int first = std::getc(stream);
  if (first != EOF) std::ungetc(first, stream);
  return first;
}

/// Decompresses a stream. Several compressed files in a row are one, as gzip(1) reads them.
class Inflater {
 public:
  Inflater(std::FILE* compressed, std::shared_ptr<std::string> fault)
      : compressed_(compressed), fault_(std::move(fault)) {
    constexpr int kGzip = 16;
    if (inflateInit2(&state_, MAX_WBITS + kGzip) != Z_OK) throw std::bad_alloc();
  }
  ~Inflater() {
    inflateEnd(&state_);
    Close(compressed_);
  }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  /// @return the number of bytes; 0 at the end; -1 with errno set
  ssize_t Read(char* out, size_t size) {
    state_.next_out = reinterpret_cast<Bytef*>(out);
    state_.avail_out = static_cast<uInt>(std::min<size_t>(size, 1U << 30));
    const uInt wanted = state_.avail_out;
    while (state_.avail_out == wanted && !is_at_end_) {
      if (state_.avail_in == 0 && !has_more_ && !Fill()) return -1;
      if (!is_at_end_ && !Inflate()) return -1;
    }
    return static_cast<ssize_t>(wanted - state_.avail_out);
  }

 private:
  /// Reads compressed bytes. Sets is_at_end_ when there are no more. @return false on failure
  bool Fill() {
    state_.next_in = input_.data();
    state_.avail_in = static_cast<uInt>(std::fread(input_.data(), 1, input_.size(), compressed_));
    if (state_.avail_in > 0) return true;
    if (std::ferror(compressed_) != 0) return false;
    is_at_end_ = true;
    return is_between_ || Fail("the compressed data ends early");
  }

  bool Inflate() {
    // Zeros may fill up the last block of a tape or a disk.
    if (is_between_ && *state_.next_in != kFirstOfGzip) {
      is_at_end_ = true;
      return true;
    }
    is_between_ = false;
    const int status = inflate(&state_, Z_NO_FLUSH);
    has_more_ = status == Z_OK && state_.avail_out == 0;
    if (status == Z_OK || status == Z_BUF_ERROR) return true;  // the latter: nothing more to give
    if (status != Z_STREAM_END) return Fail("the compressed data is damaged");
    is_between_ = true;
    return inflateReset(&state_) == Z_OK;
  }

  bool Fail(const char* fault) {
    *fault_ = fault;
    errno = EIO;
    return false;
  }

  std::FILE* compressed_;
  std::shared_ptr<std::string> fault_;
  z_stream state_ = {};
  std::array<Bytef, 65536> input_ = {};
  bool has_more_ = false;    // of what it has read, since the room for it was too small
  bool is_between_ = false;  // at the end of a compressed file, or between two
  bool is_at_end_ = false;
};

ssize_t ReadFrom(void* inflater, char* out, size_t size) {
  return static_cast<Inflater*>(inflater)->Read(out, size);
}

int Destroy(void* inflater) {
  delete static_cast<Inflater*>(inflater);
  return 0;
}

/// @param compressed  taken
std::FILE* Decompressed(std::FILE* compressed, std::shared_ptr<std::string> fault) {
  auto inflater = std::make_unique<Inflater>(compressed, std::move(fault));
  std::FILE* const stream =
      fopencookie(inflater.get(), "rb", {&ReadFrom, nullptr, nullptr, &Destroy});
  if (stream == nullptr) throw std::bad_alloc();
  inflater.release();
  return stream;
}

}  // namespace

void CaptureFile::Closer::operator()(std::FILE* stream) const {
  Close(stream);
}

CaptureFile::CaptureFile(const std::string& path)
    : name_(path == "-" ? "standard input" : path),
      stream_(path == "-" ? stdin : OpenRegular(path)) {
  if (Peek() == kFirstOfGzip) stream_.reset(Decompressed(stream_.release(), fault_));
}

int CaptureFile::Peek() {
  return PeekAt(stream_.get());
}

}  // namespace byod::capture
