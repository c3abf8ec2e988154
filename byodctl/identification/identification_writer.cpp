#include "byodctl/identification/identification_writer.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "byodctl/text/answer_json.h"
#include "byodctl/text/authorization_text.h"
#include "byodctl/text/display_text.h"
#include "byodctl/text/explanation_json.h"
#include "byodctl/text/explanation_text.h"
#include "byodctl/text/table.h"

namespace byod::ctl {
namespace {

class TsvWriter : public Writer {
 public:
  TsvWriter(std::ostream& out, OutputExtras extras) : out_(out), extras_(extras) {
    out_ << "mac\toptions\tuser_agent\tvendor\tcategory\tos\tname"
         << (extras.authorizes ? "\tauthorization" : "") << (extras.sights ? "\ttime\taddress" : "")
         << '\n';
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
    Put(answer.name, extras_.authorizes || extras_.sights ? '\t' : '\n');
    if (extras_.authorizes) {
      Put(AuthorizationText(answer.authorization), extras_.sights ? '\t' : '\n');
    }
    if (extras_.sights) {
      Put(identification.time, '\t');
      Put(identification.address, '\n');
    }
    out_.flush();  // for a program that waits for the answer before its next question
  }

 private:
  void Put(std::string field, char end) {
    std::ranges::replace_if(field, [](char c) { return c == '\t' || c == '\n' || c == '\r'; }, ' ');
    out_ << WithoutControls(field) << end;
  }

  std::ostream& out_;
  OutputExtras extras_;
};

class JsonWriter : public Writer {
 public:
  explicit JsonWriter(std::ostream& out) : out_(out) {}

  void Write(const Identification& identification) override {
    const InputLine& line = identification.line;
    const Answer& answer = identification.answer;
    Json object = {{"line", line.number}, {"mac", line.text.mac}};
    AddAnswer(object, line.text, answer, !answer.IsUnknown(),
              identification.is_locally_administered);
    object["error"] = line.error.empty() ? Json() : Json(line.error);
    object["explanation"] =
        answer.explanation ? Json(ExplanationJson(*answer.explanation)) : Json();
    object["authorization"] =
        answer.authorization ? AuthorizationJson(*answer.authorization) : Json();
    object["time"] = identification.time.empty() ? Json() : Json(identification.time);
    object["address"] = identification.address;
    out_ << JsonLine(object) << std::flush;
  }

 private:
  std::ostream& out_;
};

class TableWriter : public Writer {
 public:
  TableWriter(std::ostream& out, OutputExtras extras) : out_(out), extras_(extras) {
    Row& heading = rows_.front();
    if (extras.authorizes) heading.insert(heading.begin() + kAuthorizationAt, "AUTHORIZATION");
    if (extras.sights) heading.insert(heading.begin() + kAddressAt, "ADDRESS");
  }

  void Write(const Identification& identification) override {
    const FingerprintText& text = identification.line.text;
    const Answer& answer = identification.answer;
    const bool is_bad = !identification.line.error.empty();
    has_random_ = has_random_ || identification.is_locally_administered;
    rows_.push_back({Cell(Flagged(text.mac, identification.is_locally_administered)),
                     Cell(answer.vendor), Cell(answer.category), Cell(answer.os),
                     is_bad ? "(bad line)" : Cell(answer.name), Cell(text.options),
                     Cell(text.user_agent)});
    Row& row = rows_.back();
    if (extras_.authorizes) {
      row.insert(row.begin() + kAuthorizationAt, Cell(AuthorizationText(answer.authorization)));
    }
    if (extras_.sights) row.insert(row.begin() + kAddressAt, Cell(identification.address));
  }

  void Finish() override {
    Table table(rows_.front());
    for (size_t i = 1; i < rows_.size(); ++i)
      table.Add(std::move(rows_[i]));
    table.Write(out_);
    if (has_random_) out_ << kFlagNote;
  }

 private:
  static constexpr std::ptrdiff_t kAuthorizationAt = 5;
  static constexpr std::ptrdiff_t kAddressAt = 1;
  using Row = std::vector<std::string>;

  std::ostream& out_;
  OutputExtras extras_;
  std::vector<Row> rows_ = {
      {"MAC", "VENDOR", "CATEGORY", "OS", "NAME", "DHCP OPTIONS", "USER-AGENT"}};
  bool has_random_ = false;
};

/// One paragraph for each terminal, with what was asked, the steps and the answer.
class ExplanationWriter : public Writer {
 public:
  ExplanationWriter(std::ostream& out, OutputExtras extras) : out_(out), extras_(extras) {}

  void Write(const Identification& identification) override {
    const InputLine& line = identification.line;
    const Answer& answer = identification.answer;
    out_ << (extras_.sights ? "packet " : "line ") << line.number << ": mac "
         << Shown(line.text.mac)
         << (identification.is_locally_administered ? " (locally administered)" : "")
         << ", options " << Shown(line.text.options) << ", user-agent "
         << Shown(line.text.user_agent) << '\n';
    if (!line.error.empty()) {
      out_ << "  bad line: " << Printable(line.error) << '\n' << std::flush;
      return;
    }
    if (answer.explanation) out_ << ExplanationText(*answer.explanation);
    out_ << "  answer: vendor " << Shown(answer.vendor) << ", category " << Shown(answer.category)
         << ", os " << Shown(answer.os) << ", name " << Shown(answer.name) << '\n';
    if (answer.authorization) {
      out_ << "  authorization: " << Shown(AuthorizationText(answer.authorization)) << '\n';
    }
    out_ << std::flush;
  }

 private:
  static std::string Shown(const std::string& text) { return text.empty() ? "-" : Printable(text); }

  std::ostream& out_;
  OutputExtras extras_;
};

}  // namespace

std::unique_ptr<Writer> MakeWriter(OutputFormat format, OutputExtras extras, std::ostream& out) {
  if (format == OutputFormat::kTsv) return std::make_unique<TsvWriter>(out, extras);
  if (format == OutputFormat::kJson) return std::make_unique<JsonWriter>(out);
  if (extras.explains) return std::make_unique<ExplanationWriter>(out, extras);
  return std::make_unique<TableWriter>(out, extras);
}

}  // namespace byod::ctl
