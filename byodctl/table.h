// Aligned columns for people.
#ifndef BYODCTL_TABLE_H
#define BYODCTL_TABLE_H

#include <ostream>
#include <string>
#include <vector>

namespace byod::ctl {

/// Whether standard output is a terminal that may be coloured. NO_COLOR and TERM=dumb say no.
bool MayColour();

/// Emphasised where colours may be.
enum class Emphasis { kNone, kHeading, kNotice, kAlarm };
std::string Emphasised(const std::string& text, Emphasis emphasis);

/// A cell of a table: what a terminal might obey replaced, cut when long, "-" when empty.
std::string Cell(const std::string& text, size_t most = 60);

class Table {
 public:
  /// Without a heading none is written.
  explicit Table(std::vector<std::string> heading = {}) : heading_(std::move(heading)) {}

  /// Cells come from Cell. @param emphasis  of the whole row
  void Add(std::vector<std::string> cells, Emphasis emphasis = Emphasis::kNone);

  void Write(std::ostream& out) const;

 private:
  struct Row {
    std::vector<std::string> cells;
    Emphasis emphasis;
  };

  std::vector<std::string> heading_;
  std::vector<Row> rows_;
};

}  // namespace byod::ctl

#endif  // BYODCTL_TABLE_H
