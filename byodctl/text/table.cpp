// SPDX-License-Identifier: Apache-2.0
#include "byodctl/text/table.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <string_view>
#include <utility>

#include "byodctl/text/display_text.h"

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

constexpr size_t kGap = 2;  // between columns

void Widen(std::vector<size_t>& widths, const std::vector<std::string>& cells) {
  widths.resize(std::max(widths.size(), cells.size()));
  for (size_t i = 0; i < cells.size(); ++i)
    widths[i] = std::max(widths[i], DisplayWidth(cells[i]));
}

std::string Aligned(const std::vector<std::string>& cells, const std::vector<size_t>& widths) {
  std::string line;
  for (size_t i = 0; i < cells.size(); ++i) {
    const std::string cell = CutToWidth(cells[i], widths[i]);
    line += cell;
    if (i + 1 < cells.size()) line.append(widths[i] - DisplayWidth(cell) + kGap, ' ');
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

std::string Cell(const std::string& text) {
  return text.empty() ? "-" : Printable(text);
}

std::optional<size_t> WidthOfOutput() {
  constexpr size_t kUsual = 80;  // of a terminal that does not report its size
  if (isatty(STDOUT_FILENO) != 1) return std::nullopt;
  winsize size = {};
  const bool is_known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return is_known ? size.ws_col : kUsual;
}

void FitColumns(std::vector<size_t>& widths, size_t room) {
  constexpr size_t kMinWidth = 8;
  size_t total = std::accumulate(widths.begin(), widths.end(), size_t{0});
  while (total > room) {
    const auto widest = std::ranges::max_element(widths);
    if (*widest <= kMinWidth) return;
    --*widest;
    --total;
  }
}

void Table::Add(std::vector<std::string> cells, Emphasis emphasis) {
  rows_.push_back({std::move(cells), emphasis});
}

void Table::Write(std::ostream& out) const {
  std::vector<size_t> widths;
  Widen(widths, heading_);
  for (const Row& row : rows_)
    Widen(widths, row.cells);
  if (const auto width = WidthOfOutput(); width && !heading_.empty()) {
    const size_t gaps = kGap * (widths.size() - 1);
    FitColumns(widths, *width > gaps ? *width - gaps : 0);
  }
  if (!heading_.empty()) out << Emphasised(Aligned(heading_, widths), Emphasis::kHeading) << '\n';
  for (const Row& row : rows_)
    out << Emphasised(Aligned(row.cells, widths), row.emphasis) << '\n';
}

}  // namespace byod::ctl
