// SPDX-License-Identifier: Apache-2.0
// Attacks OpenInput, which reads the fingerprints that byodctl identify is given, and
// ParseFingerprint, which reads each.
//
// The first byte of the input says which format. Every line must come once and in order, with a
// fingerprint or an error, and a fingerprint that is written as JSON must be read as the same.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "byodctl/identification/fingerprint_input.h"
#include "byodctl/text/fingerprint_text.h"

namespace {

using namespace byod::ctl;

void Expect(bool truth) {
  if (!truth) std::abort();
}

void CheckFingerprint(const ParsedFingerprint& parsed) {
  const ByodFingerPrint& fingerprint = parsed.fingerprint;
  if (!parsed.error.empty()) return;
  Expect(fingerprint.option_length <= BYOD_OPTION55_MAX);
  Expect(std::memchr(fingerprint.user_agent, '\0', sizeof fingerprint.user_agent) != nullptr);
}

/// A line that reads as the text, if JSON can hold the text.
std::string JsonOf(const FingerprintText& text) {
  const nlohmann::json object = {
      {"mac", text.mac}, {"options", text.options}, {"user_agent", text.user_agent}};
  try {
    return object.dump() + "\n";
  } catch (const nlohmann::json::exception&) {
    return {};  // not UTF-8
  }
}

void CheckAsJson(const FingerprintText& text) {
  const std::string line = JsonOf(text);
  if (line.empty()) return;
  std::istringstream in(line);
  const auto reader = OpenInput(in, InputFormat::kJson);
  const auto again = reader->Next();
  Expect(again && again->error.empty() && !reader->Next());
  Expect(again->text.mac == text.mac && again->text.options == text.options &&
         again->text.user_agent == text.user_agent);
}

size_t LinesIn(const std::string& text) {
  size_t lines = 0;
  for (size_t at = 0; at < text.size(); ++lines) {
    const size_t end = text.find('\n', at);
    at = end == std::string::npos ? text.size() : end + 1;
  }
  return lines;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  constexpr InputFormat kFormats[] = {InputFormat::kAuto, InputFormat::kTsv, InputFormat::kJson};
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  std::istringstream in(text);
  std::unique_ptr<LineReader> reader;
  try {
    reader = OpenInput(in, kFormats[data[0] % 3]);
  } catch (const InputError&) {
    return 0;
  }
  size_t last = 0;
  while (const auto line = reader->Next()) {
    // The first line may be a header.
    Expect(last == 0 ? line->number == 1 || line->number == 2 : line->number == last + 1);
    last = line->number;
    const ParsedFingerprint parsed = ParseFingerprint(line->text);
    CheckFingerprint(parsed);
    if (line->error.empty()) CheckAsJson(line->text);
  }
  Expect(last == 0 ? LinesIn(text) <= 1 : last == LinesIn(text));
  return 0;
}
