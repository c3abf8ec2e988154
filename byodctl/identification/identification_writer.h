// SPDX-License-Identifier: Apache-2.0
// Identified terminals, written for people or programs.
#ifndef BYODCTL_IDENTIFICATION_IDENTIFICATION_WRITER_H
#define BYODCTL_IDENTIFICATION_IDENTIFICATION_WRITER_H

#include <memory>
#include <ostream>
#include <string>

#include "byodctl/identification/fingerprint_input.h"
#include "byodctl/text/answer.h"
#include "byodctl/text/output_form.h"

namespace byod::ctl {

struct Identification {
  InputLine line;
  bool is_locally_administered = false;
  Answer answer;  ///< all unknown when the line has an error
  // For a station in a capture, where a line is a packet.
  std::string time;     ///< empty = none
  std::string address;  ///< IP address; empty = none
};

class Writer {
 public:
  virtual ~Writer() = default;
  virtual void Write(const Identification& identification) = 0;
  /// To be called after the last one.
  virtual void Finish() {}
};

/// What is written besides the answer.
struct OutputExtras {
  bool explains = false;
  bool authorizes = false;  ///< adds a column to tables and tab-separated lines
  bool sights = false;      ///< lines are packets; adds the columns time and address
};

/// A table of terminals with their explanations has a paragraph for each. @param out  borrowed
std::unique_ptr<Writer> MakeWriter(OutputForm form, OutputExtras extras, std::ostream& out);

}  // namespace byod::ctl

#endif  // BYODCTL_IDENTIFICATION_IDENTIFICATION_WRITER_H
