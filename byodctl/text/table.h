// Aligned columns for people.
#ifndef BYODCTL_TEXT_TABLE_H
#define BYODCTL_TEXT_TABLE_H

#include <cstddef>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace byod::ctl {

/// Whether standard output is a terminal that may be coloured. NO_COLOR and TERM=dumb say no.
bool MayColour();

/// Emphasised where colours may be.
enum class Emphasis { kNone, kHeading, kNotice, kAlarm };
std::string Emphasised(const std::string& text, Emphasis emphasis);

/// A cell of a table: what a terminal might obey replaced, "-" when empty.
std::string Cell(const std::string& text);

/// How many characters stand side by side where standard output goes; nothing when that is no
/// terminal.
std::optional<size_t> WidthOfOutput();

/**
 * Narrows the widest columns, all of them to one width, until their sum fits.
 *
 * No column gets narrower than what can still be read: in too little room the lines stay longer.
 */
void FitColumns(std::vector<size_t>& widths, size_t room);

class Table {
 public:
  /// Without a heading none is written: the rows are the properties of one thing, which nothing is
  /// cut of.
  explicit Table(std::vector<std::string> heading = {}) : heading_(std::move(heading)) {}

  /// Cells come from Cell. @param emphasis  of the whole row
  void Add(std::vector<std::string> cells, Emphasis emphasis = Emphasis::kNone);

  /// Under a heading fitted to the terminal that standard output is. Elsewhere all is written in
  /// full.
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

#endif  // BYODCTL_TEXT_TABLE_H
