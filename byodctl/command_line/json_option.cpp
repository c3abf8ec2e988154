#include "byodctl/command_line/json_option.h"

#include <CLI/CLI.hpp>
#include <cstddef>
#include <sstream>

namespace byod::ctl {
namespace {

constexpr size_t kHelpWidth = 100;

std::string Wrapped(const std::string& paragraph) {
  std::istringstream words(paragraph);
  std::string text;
  size_t column = 0;
  for (std::string word; words >> word; column += word.size()) {
    if (column > 0) {
      const bool fits = column + 1 + word.size() <= kHelpWidth;
      text += fits ? ' ' : '\n';
      column = fits ? column + 1 : 0;
    }
    text += word;
  }
  return text;
}

}  // namespace

void AddToHelp(CLI::App& app, const std::string& paragraph) {
  const std::string before = app.get_footer();
  app.footer(before + (before.empty() ? "" : "\n\n") + Wrapped(paragraph));
}

CLI::Option* AddJsonOption(CLI::App& app, bool& json, const std::string& keys,
                           const std::string& of) {
  AddToHelp(app, "JSON keys: " + keys + '.');
  return app.add_flag("--json", json, "Write JSON" + (of.empty() ? "" : ", a line for each " + of));
}

}  // namespace byod::ctl
