// SPDX-License-Identifier: Apache-2.0
// Reads fingerprints from a stream, one per line.
#ifndef BYODCTL_IDENTIFICATION_FINGERPRINT_INPUT_H
#define BYODCTL_IDENTIFICATION_FINGERPRINT_INPUT_H

#include <cstddef>
#include <istream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "byodctl/text/fingerprint_text.h"

namespace byod::ctl {

/// One line of input. With an error the text is what could be read of it.
struct InputLine {
  size_t number = 0;
  FingerprintText text;
  std::string error;  ///< empty = none
};

class LineReader {
 public:
  virtual ~LineReader() = default;
  /// @return the next line, or nothing at the end
  virtual std::optional<InputLine> Next() = 0;
};

/// The input as a whole cannot be read.
struct InputError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

enum class InputFormat {
  kAuto,  ///< JSON Lines when the first byte is '{', else tab-separated
  kTsv,   ///< a header line names the columns mac, options, user_agent, host_name and
          ///< vendor_class, any of them, in any order; others are ignored; nothing is quoted
  kJson   ///< an object a line, with the same keys; options as a text or as an array of numbers
};

/**
 * @param in  borrowed by the reader
 * @throws InputError for a header line that names no column to read, or one twice
 */
std::unique_ptr<LineReader> OpenInput(std::istream& in, InputFormat format);

}  // namespace byod::ctl

#endif  // BYODCTL_IDENTIFICATION_FINGERPRINT_INPUT_H
