// SPDX-License-Identifier: Apache-2.0
#include "rulefiles/csv_parser.h"

#include <csv.h>

#include <new>
#include <utility>

namespace byod::rulefiles {
namespace {

constexpr size_t kMaxBytes = 65536;

enum class State { kRecordEnded, kInsideRecord, kMisplacedQuote };

/// Feeds libcsv with whole lines, so that the end of a line is known to end a record or not.
class Parser {
 public:
  Parser() { Open(); }
  ~Parser() { csv_free(&csv_); }
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;

  /// Forgets the record before, ended or not.
  void Begin() {
    if (state_ != State::kRecordEnded) {
      csv_free(&csv_);
      Open();
    }
    record_.clear();
    state_ = State::kInsideRecord;
  }

  State Feed(std::string_view line) {
    const size_t parsed =
        csv_parse(&csv_, line.data(), line.size(), &Parser::OnField, &Parser::OnRecord, this);
    return parsed == line.size() ? state_ : Failed();
  }

  /// Ends a record that no line end closed.
  State Finish() {
    return csv_fini(&csv_, &Parser::OnField, &Parser::OnRecord, this) == 0 ? state_ : Failed();
  }

  Record Take() { return std::move(record_); }

 private:
  void Open() {
    if (csv_init(&csv_, CSV_STRICT | CSV_STRICT_FINI) != 0) throw std::bad_alloc();
    csv_set_space_func(&csv_, [](unsigned char) { return 0; });  // blanks belong to a field
    csv_set_blk_size(&csv_, 1024);
  }

  State Failed() {
    if (csv_error(&csv_) != CSV_EPARSE) throw std::bad_alloc();
    return state_ = State::kMisplacedQuote;
  }

  static void OnField(void* data, size_t size, void* self) {
    static_cast<Parser*>(self)->record_.emplace_back(static_cast<const char*>(data), size);
  }

  static void OnRecord(int, void* self) {
    static_cast<Parser*>(self)->state_ = State::kRecordEnded;
  }

  csv_parser csv_;
  Record record_;
  State state_ = State::kRecordEnded;
};

/// The first line of a text with its line end.
std::string_view FirstLine(std::string_view text) {
  size_t end = text.find_first_of("\r\n");
  if (end == std::string_view::npos) return text;
  if (text.substr(end, 2) == "\r\n") ++end;
  return text.substr(0, end + 1);
}

bool IsSkipped(std::string_view line) {
  return line.front() == '#' || line.find_first_not_of("\r\n") == std::string_view::npos;
}

/// How far the record reaches with which a text begins, and why it cannot be used, if it cannot.
struct Extent {
  size_t bytes = 0;
  size_t lines = 0;
  const char* fault = nullptr;
};

Extent ParseRecord(std::string_view text, Parser& parser) {
  Extent extent;
  parser.Begin();
  for (;;) {
    const std::string_view line = FirstLine(text.substr(extent.bytes));
    extent.bytes += line.size();
    ++extent.lines;
    if (extent.bytes > kMaxBytes) {
      extent.fault = "record is longer than 65536 bytes";
      return extent;
    }
    State state = parser.Feed(line);
    if (state == State::kInsideRecord && extent.bytes == text.size()) {
      state = parser.Finish();
      if (state != State::kRecordEnded) extent.fault = "quoted field is not closed";
      return extent;
    }
    if (state == State::kMisplacedQuote) extent.fault = "misplaced double quote";
    if (state != State::kInsideRecord) return extent;
  }
}

}  // namespace

void ParseRecords(std::string_view text, const RecordSink& sink) {
  Parser parser;
  size_t line = 1;
  while (!text.empty()) {
    const std::string_view first = FirstLine(text);
    Extent passed{first.size(), 1};
    if (!IsSkipped(first)) {
      const Extent record = ParseRecord(text, parser);
      if (record.fault == nullptr) {
        sink.take(line, parser.Take());
        passed = record;
      } else {
        sink.report(line, record.fault);
      }
    }
    text.remove_prefix(passed.bytes);
    line += passed.lines;
  }
}

}  // namespace byod::rulefiles
