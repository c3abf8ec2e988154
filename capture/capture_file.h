// SPDX-License-Identifier: Apache-2.0
// The bytes of a capture file, decompressed while they are read.
#ifndef BYOD_CAPTURE_CAPTURE_FILE_H
#define BYOD_CAPTURE_CAPTURE_FILE_H

#include <cstdio>
#include <memory>
#include <string>

namespace byod::capture {

/// A capture file as a stream. A file that gzip compressed reads like the file that was compressed.
class CaptureFile {
 public:
  /// @param path  "-" for standard input
  /// @throws SourceError when it cannot be opened
  explicit CaptureFile(const std::string& path);

  /// The name that messages use.
  const std::string& name() const { return name_; }

  /// The first byte, which is read again; EOF for an empty file, or one that cannot be read.
  int Peek();

  std::FILE* stream() const { return stream_.get(); }

  /// Hands the stream over to a reader that closes it. fault() may still be asked for.
  std::FILE* Release() { return stream_.release(); }

  /// Why the compressed data ended early; empty = it did not, or the file is not compressed.
  const std::string& fault() const { return *fault_; }

 private:
  struct Closer {
    void operator()(std::FILE* stream) const;
  };

  std::string name_;
  std::shared_ptr<std::string> fault_ = std::make_shared<std::string>();
  std::unique_ptr<std::FILE, Closer> stream_;
};

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_CAPTURE_FILE_H
