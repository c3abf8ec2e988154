// Identified terminals, written for people or programs.
#ifndef BYODCTL_IDENTIFICATION_IDENTIFICATION_WRITER_H
#define BYODCTL_IDENTIFICATION_IDENTIFICATION_WRITER_H

#include <memory>
#include <ostream>
#include <string>

#include "byodctl/identification/fingerprint_input.h"
#include "byodctl/identification/identifier.h"

namespace byod::ctl {

struct Identification {
  InputLine line;
  bool is_locally_administered = false;
  Answer answer;  ///< all unknown when the line has an error
  // Of a station in a capture, where a line is a packet.
  std::string time;     ///< empty = none
  std::string address;  ///< IP address; empty = none
};

class Writer {
 public:
  virtual ~Writer() = default;
  virtual void Write(const Identification& identification) = 0;
  /// After the last one.
  virtual void Finish() {}
};

enum class OutputFormat {
  kTable,  ///< aligned columns, written at the end; or a paragraph each when there are explanations
  kTsv,  ///< a header, then a line for each line of input. Nothing is quoted, so a tab or line end
         ///< inside a field, which only JSON input can have, becomes a blank, and what a terminal
         ///< might obey is replaced
  kJson  ///< an object a line. Its keys are always the same: error is null or says why the line
         ///< could not be identified, explanation and authorization are null unless asked for
};

/// What goes out besides the answer.
struct OutputExtras {
  bool explains = false;
  bool authorizes = false;  ///< a column more, in tables and tab-separated lines
  bool sights = false;      ///< the lines are packets; time and address are columns more
};

/// @param out  borrowed by the writer
std::unique_ptr<Writer> MakeWriter(OutputFormat format, OutputExtras extras, std::ostream& out);

}  // namespace byod::ctl

#endif  // BYODCTL_IDENTIFICATION_IDENTIFICATION_WRITER_H
