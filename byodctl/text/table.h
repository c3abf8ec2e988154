// SPDX-License-Identifier: Apache-2.0
// Aligned columns for people.
#ifndef BYODCTL_TEXT_TABLE_H
#define BYODCTL_TEXT_TABLE_H

#include <cstddef>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace byod::ctl {

/// Whether standard output is a terminal that may be coloured. Not with NO_COLOR or TERM=dumb.
bool MayColour();

/// Emphasised where colours may be.
enum class Emphasis { kNone, kHeading, kNotice, kAlarm };
std::string Emphasised(const std::string& text, Emphasis emphasis);

/// A cell of a table: control characters replaced, "-" when empty.
std::string Cell(const std::string& text);

/// The width of the terminal that standard output is connected to; nothing if it is not a terminal.
std::optional<size_t> WidthOfOutput();

/**
 * Narrows the widest columns, all to the same width, until their sum fits.
 *
 * No column becomes too narrow to read: if there is too little room the lines are longer.
 */
void FitColumns(std::vector<size_t>& widths, size_t room);

class Table {
 public:
  /// @param heading  empty = the rows are the properties of one thing, which are never cut
  explicit Table(std::vector<std::string> heading = {}) : heading_(std::move(heading)) {}

  /// Cells come from Cell. @param emphasis  of the whole row
  void Add(std::vector<std::string> cells, Emphasis emphasis = Emphasis::kNone);

  /// A table with a heading is fitted to the terminal. If standard output is not a terminal
  /// everything is written in full.
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
