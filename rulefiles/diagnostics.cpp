#include "rulefiles/diagnostics.h"

#include "rulefiles/text.h"

namespace byod::rulefiles {

std::string ToString(const Place& place) {
  return place.line == 0 ? *place.file : *place.file + ":" + std::to_string(place.line);
}

std::string ToString(const Diagnostic& diagnostic) {
  return ToString(diagnostic.place) + ": " + diagnostic.reason;
}

void Diagnostics::Report(const Place& place, std::string reason, std::optional<Place> other) {
  ++count_;
  if (sink_) sink_({place, std::move(reason), std::move(other)});
}

std::string Quoted(std::string_view value) {
  constexpr size_t kMost = 60;
  std::string text{CutAtCharacter(value, kMost)};
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
  }
  return '"' + text + (text.size() < value.size() ? "...\"" : "\"");
}

}  // namespace byod::rulefiles
