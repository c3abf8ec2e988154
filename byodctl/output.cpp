#include "byodctl/output.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "byodctl/display_text.h"
#include "byodctl/explanation_json.h"
#include "byodctl/explanation_text.h"

namespace byod::ctl {
namespace {

using Json = nlohmann::ordered_json;

class TsvWriter : public Writer {
 public:
  explicit TsvWriter(std::ostream& out) : out_(out) {
    out_ << "mac\toptions\tuser_agent\tvendor\tcategory\tos\tname\n";
  }

  void Write(const Identification& identification) override {
    const FingerprintText& text = identification.line.text;
    const Answer& answer = identification.answer;
    Put(text.mac, '\t');
    Put(text.options, '\t');
    Put(text.user_agent, '\t');
    Put(answer.vendor, '\t');
    Put(answer.category, '\t');
    Put(answer.os, '\t');
    Put(answer.name, '\n');
    out_.flush();  // for a program that waits for the answer before its next question
  }

 private:
  void Put(std::string field, char end) {
    std::ranges::replace_if(field, [](char c) { return c == '\t' || c == '\n' || c == '\r'; }, ' ');
    out_ << field << end;
  }

  std::ostream& out_;
};

class JsonWriter : public Writer {
 public:
  explicit JsonWriter(std::ostream& out) : out_(out) {}

  void Write(const Identification& identification) override {
    const InputLine& line = identification.line;
    const Answer& answer = identification.answer;
    const Json object = {
        {"line", line.number},
        {"mac", line.text.mac},
        {"options", line.text.options},
        {"user_agent", line.text.user_agent},
        {"vendor", answer.vendor},
        {"category", answer.category},
        {"os", answer.os},
        {"name", answer.name},
        {"identified", !answer.IsUnknown()},
        {"locally_administered", identification.is_locally_administered},
        {"error", line.error.empty() ? Json() : Json(line.error)},
        {"explanation", answer.explanation ? Json(ExplanationJson(*answer.explanation)) : Json()}};
    // A User-Agent need not be UTF-8, but JSON is.
    out_ << object.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n' << std::flush;
  }

 private:
  std::ostream& out_;
};

constexpr char kRandomNote[] = "* locally administered address: its prefix names no vendor\n";

class TableWriter : public Writer {
 public:
  explicit TableWriter(std::ostream& out) : out_(out) {}

  void Write(const Identification& identification) override {
    const FingerprintText& text = identification.line.text;
    const Answer& answer = identification.answer;
    const bool is_bad = !identification.line.error.empty();
    has_random_ = has_random_ || identification.is_locally_administered;
    rows_.push_back({Cell(text.mac + (identification.is_locally_administered ? "*" : "")),
                     Cell(answer.vendor), Cell(answer.category), Cell(answer.os),
                     is_bad ? "(bad line)" : Cell(answer.name), Cell(text.options, 30),
                     Cell(text.user_agent, 60)});
  }

  void Finish() override {
    std::array<size_t, kColumns> widths = {};
    for (const Row& row : rows_) {
      for (size_t i = 0; i < kColumns; ++i)
        widths[i] = std::max(widths[i], DisplayWidth(row[i]));
    }
    for (const Row& row : rows_) {
      std::string line;
      for (size_t i = 0; i < kColumns; ++i) {
        line += row[i];
        if (i + 1 < kColumns) line.append(widths[i] - DisplayWidth(row[i]) + 2, ' ');
      }
      out_ << line << '\n';
    }
    if (has_random_) out_ << kRandomNote;
  }

 private:
  static constexpr size_t kColumns = 7;
  using Row = std::array<std::string, kColumns>;

  static std::string Cell(const std::string& text, size_t most = 128) {
    return text.empty() ? "-" : CutToWidth(Printable(text), most);
  }

  std::ostream& out_;
  std::vector<Row> rows_ = {
      {"MAC", "VENDOR", "CATEGORY", "OS", "NAME", "DHCP OPTIONS", "USER-AGENT"}};
  bool has_random_ = false;
};

/// One paragraph for each terminal, with what was asked, the steps and the answer.
class ExplanationWriter : public Writer {
 public:
  explicit ExplanationWriter(std::ostream& out) : out_(out) {}

  void Write(const Identification& identification) override {
    const InputLine& line = identification.line;
    const Answer& answer = identification.answer;
    out_ << "line " << line.number << ": mac " << Shown(line.text.mac)
         << (identification.is_locally_administered ? " (locally administered)" : "")
         << ", options " << Shown(line.text.options) << ", user-agent "
         << Shown(line.text.user_agent) << '\n';
    if (!line.error.empty()) {
      out_ << "  bad line: " << line.error << '\n' << std::flush;
      return;
    }
    if (answer.explanation) out_ << ExplanationText(*answer.explanation);
    out_ << "  answer: vendor " << Shown(answer.vendor) << ", category " << Shown(answer.category)
         << ", os " << Shown(answer.os) << ", name " << Shown(answer.name) << '\n'
         << std::flush;
  }

 private:
  static std::string Shown(const std::string& text) { return text.empty() ? "-" : Printable(text); }

  std::ostream& out_;
};

}  // namespace

std::unique_ptr<Writer> MakeWriter(OutputFormat format, bool explains, std::ostream& out) {
  if (format == OutputFormat::kTsv) return std::make_unique<TsvWriter>(out);
  if (format == OutputFormat::kJson) return std::make_unique<JsonWriter>(out);
  if (explains) return std::make_unique<ExplanationWriter>(out);
  return std::make_unique<TableWriter>(out);
}

}  // namespace byod::ctl
