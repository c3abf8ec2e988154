// SPDX-License-Identifier: Apache-2.0
#include "byodctl/identification/identification_writer.h"

#include <algorithm>
#include <string>
#include <vector>

#include "byodctl/text/answer_item.h"
#include "byodctl/text/authorization_text.h"
#include "byodctl/text/display_text.h"
#include "byodctl/text/evidence_text.h"
#include "byodctl/text/explanation_json.h"
#include "byodctl/text/explanation_text.h"
#include "byodctl/text/listing.h"

namespace byod::ctl {
namespace {

std::vector<Column> TableColumns(OutputExtras extras) {
  std::vector<Column> columns = {{"MAC", "mac"}};
  if (extras.sights) columns.push_back({"ADDRESS", "address"});
  columns.insert(columns.end(),
                 {{"VENDOR", "vendor"}, {"CATEGORY", "category"}, {"OS", "os"}, {"NAME", "name"}});
  if (extras.authorizes) columns.push_back({"AUTHORIZATION", "authorization"});
  columns.insert(columns.end(), {{"DHCP OPTIONS", "options"}, {"USER-AGENT", "user_agent"}});
  return columns;
}

/// The input's columns, then the answer's.
std::vector<Column> TsvColumns(OutputExtras extras) {
  std::vector<Column> columns;
  for (const char* const key : {"mac", "options", "user_agent", "vendor", "category", "os", "name"})
    columns.push_back({key, key});
  if (extras.authorizes) columns.push_back({"authorization", "authorization"});
  if (extras.sights) columns.insert(columns.end(), {{"time", "time"}, {"address", "address"}});
  for (const char* const key : {"host_name", "vendor_class", "filled"})
    columns.push_back({key, key});
  return columns;
}

Item ItemOf(const Identification& identification) {
  const InputLine& line = identification.line;
  const Answer& answer = identification.answer;
  const bool is_local = identification.is_locally_administered;
  Item item = {{"line", line.number}, {"mac", line.text.mac, Flagged(line.text.mac, is_local)}};
  AddAnswer(item, line.text, answer, !answer.IsUnknown(), is_local);
  if (!line.error.empty())
    std::ranges::find(item, std::string_view{"name"}, &Field::key)->text = "(bad line)";
  item.push_back({"error", OrNull(line.error)});
  item.push_back(
      {"explanation", answer.explanation ? ExplanationJson(*answer.explanation) : Json()});
  item.push_back({"authorization",
                  answer.authorization ? AuthorizationJson(*answer.authorization) : Json(),
                  AuthorizationText(answer.authorization)});
  item.push_back({"time", OrNull(identification.time)});
  item.push_back({"address", identification.address});
  AddEvidence(item, line.text, answer);
  return item;
}

class ListingWriter : public Writer {
 public:
  ListingWriter(OutputForm form, OutputExtras extras, std::ostream& out)
      : out_(out),
        listing_(form, form == OutputForm::kTsv ? TsvColumns(extras) : TableColumns(extras), out) {}

  void Write(const Identification& identification) override {
    has_flag_ = has_flag_ || identification.is_locally_administered;
    has_filled_ = has_filled_ || !identification.answer.filled.empty();
    listing_.Add(ItemOf(identification));
    out_.flush();  // a program may wait for the answer before it sends the next line
  }

  void Finish() override {
    listing_.Finish(std::string{has_flag_ ? kFlagNote : ""} + (has_filled_ ? kEvidenceNote : ""));
  }

 private:
  std::ostream& out_;
  Listing listing_;
  bool has_flag_ = false;
  bool has_filled_ = false;
};

/// A paragraph for each terminal, with its fingerprint, the steps and the answer.
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
         << Shown(line.text.user_agent);
    if (!line.text.host_name.empty()) out_ << ", host-name " << Shown(line.text.host_name);
    if (!line.text.vendor_class.empty()) out_ << ", vendor-class " << Shown(line.text.vendor_class);
    out_ << '\n';
    if (!line.error.empty()) {
      out_ << "  bad line: " << Printable(line.error) << '\n' << std::flush;
      return;
    }
    if (answer.explanation) out_ << ExplanationText(*answer.explanation);
    out_ << EvidenceText(answer);
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

std::unique_ptr<Writer> MakeWriter(OutputForm form, OutputExtras extras, std::ostream& out) {
  if (form == OutputForm::kTable && extras.explains) {
    return std::make_unique<ExplanationWriter>(out, extras);
  }
  return std::make_unique<ListingWriter>(form, extras, out);
}

}  // namespace byod::ctl
