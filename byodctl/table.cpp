#include "byodctl/table.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "byodctl/display_text.h"

namespace byod::ctl {
namespace {

const char* CodeOf(Emphasis emphasis) {
  switch (emphasis) {
    case Emphasis::kHeading:
      return "\033[1m";
    case Emphasis::kNotice:
      return "\033[33m";
    case Emphasis::kAlarm:
      return "\033[31m";
    default:
      return "";
  }
}

void Widen(std::vector<size_t>& widths, const std::vector<std::string>& cells) {
  widths.resize(std::max(widths.size(), cells.size()));
  for (size_t i = 0; i < cells.size(); ++i)
    widths[i] = std::max(widths[i], DisplayWidth(cells[i]));
}

std::string Aligned(const std::vector<std::string>& cells, const std::vector<size_t>& widths) {
  std::string line;
  for (size_t i = 0; i < cells.size(); ++i) {
    line += cells[i];
    if (i + 1 < cells.size()) line.append(widths[i] - DisplayWidth(cells[i]) + 2, ' ');
  }
  return line;
}

}  // namespace

bool MayColour() {
  static const bool may = [] {
    const char* const terminal = std::getenv("TERM");
    const char* const refused = std::getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) == 1 && (refused == nullptr || *refused == '\0') &&
           terminal != nullptr && std::string_view{terminal} != "dumb";
  }();
  return may;
}

std::string Emphasised(const std::string& text, Emphasis emphasis) {
  if (emphasis == Emphasis::kNone || !MayColour()) return text;
  return CodeOf(emphasis) + text + "\033[0m";
}

std::string Cell(const std::string& text, size_t most) {
  return text.empty() ? "-" : CutToWidth(Printable(text), most);
}

void Table::Add(std::vector<std::string> cells, Emphasis emphasis) {
  rows_.push_back({std::move(cells), emphasis});
}

void Table::Write(std::ostream& out) const {
  std::vector<size_t> widths;
  Widen(widths, heading_);
  for (const Row& row : rows_)
    Widen(widths, row.cells);
  if (!heading_.empty()) out << Emphasised(Aligned(heading_, widths), Emphasis::kHeading) << '\n';
  for (const Row& row : rows_)
    out << Emphasised(Aligned(row.cells, widths), row.emphasis) << '\n';
}

}  // namespace byod::ctl
