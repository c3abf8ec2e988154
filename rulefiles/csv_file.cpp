// SPDX-License-Identifier: Apache-2.0
#include "rulefiles/csv_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include "net/descriptor.h"
#include "rulefiles/csv_parser.h"
#include "rulefiles/text.h"
#include "text/nearest_word.h"

namespace byod::rulefiles {
namespace {

constexpr size_t kAbsent = static_cast<size_t>(-1);

struct Closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

std::string_view WithoutByteOrderMark(std::string_view text) {
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  return text;
}

std::string FieldCount(size_t count) {
  return std::to_string(count) + (count == 1 ? " field" : " fields");
}

/// Turns records into rows once it has seen the header.
class RowReader {
 public:
  RowReader(const File& file, std::initializer_list<Column> columns, Others others,
            Diagnostics& diagnostics, const std::function<void(Row&&)>& take)
      : name_(std::make_shared<const std::string>(file.name)),
        columns_(columns),
        others_(others),
        diagnostics_(diagnostics),
        take_(take) {}

  void Take(size_t line, Record&& record) {
    const Place place{name_, line};
    if (!has_header_) return TakeHeader(place, record);
    if (!usable_) return;
    if (record.size() != width_) {
      return diagnostics_.Report(
          Problem::kRow, place,
          FieldCount(record.size()) + ", the header names " + std::to_string(width_));
    }
    Row row{place, {}};
    for (size_t i = 0; i < columns_.size(); ++i) {
      std::string field = fields_[i] == kAbsent ? "" : std::move(record[fields_[i]]);
      if (const char* const fault = FaultOfField(field)) {
        return diagnostics_.Report(Problem::kRow, place, std::string{columns_[i].name} + fault);
      }
      row.fields.push_back(std::move(field));
    }
    take_(std::move(row));
  }

  void Report(size_t line, const char* reason) {
    diagnostics_.Report(has_header_ ? Problem::kRow : Problem::kHeader, {name_, line}, reason);
    if (has_header_) return;
    has_header_ = true;  // It cannot be read, so the rows have no names.
    usable_ = false;
  }

  void Finish() {
    if (!has_header_) diagnostics_.Report(Problem::kHeader, {name_, 0}, "no header line");
  }

 private:
  void TakeHeader(const Place& place, const Record& header) {
    has_header_ = true;
    width_ = header.size();
    for (const Column& column : columns_) {
      const auto found = std::find(header.begin(), header.end(), column.name);
      fields_.push_back(found == header.end() ? kAbsent
                                              : static_cast<size_t>(found - header.begin()));
      const std::string name{column.name};
      if (found == header.end()) {
        usable_ = usable_ && column.need != Column::kKey;
      } else if (std::find(found + 1, header.end(), column.name) != header.end()) {
        diagnostics_.Report(Problem::kRepeatedColumn, place,
                            "column " + name + " stands twice, the first one counts");
      }
    }
    ReportMissingKeys(place, header);
    if (usable_ && others_ == Others::kUnknown) ReportUnknown(place, header);
  }

  bool IsMissing(const std::string& name) const {
    const auto column = std::ranges::find(columns_, name, &Column::name);
    return fields_[static_cast<size_t>(column - columns_.begin())] == kAbsent;
  }

  /// The columns of a header that nothing asks for.
  std::vector<std::string> UnknownOf(const Record& header) const {
    std::vector<std::string> unknown;
    for (const std::string& name : header) {
      if (std::ranges::find(columns_, name, &Column::name) == columns_.end()) {
        unknown.push_back(name);
      }
    }
    return unknown;
  }

  void ReportMissingKeys(const Place& place, const Record& header) {
    const std::vector<std::string> unknown = UnknownOf(header);
    for (size_t i = 0; i < columns_.size(); ++i) {
      if (columns_[i].need != Column::kKey || fields_[i] != kAbsent) continue;
      const std::string name{columns_[i].name};
      const std::string meant = text::NearestWord(name, unknown);
      diagnostics_.Report(
          Problem::kHeader, place,
          "column " + name + " is missing, no row can be used" +
              (meant.empty() ? "" : "; is " + Quoted(meant) + " meant to be " + name + '?'));
    }
  }

  void ReportUnknown(const Place& place, const Record& header) {
    std::vector<std::string> missing;
    for (const Column& column : columns_) {
      std::string name{column.name};
      if (IsMissing(name)) missing.push_back(std::move(name));
    }
    for (const std::string& name : UnknownOf(header)) {
      diagnostics_.Report(Problem::kUnknownColumn, place,
                          "column " + Quoted(name) + " is unknown, it is ignored" +
                              text::DidYouMean(name, missing));
    }
  }

  std::shared_ptr<const std::string> name_;
  std::vector<Column> columns_;
  Others others_;
  Diagnostics& diagnostics_;
  const std::function<void(Row&&)>& take_;
  bool has_header_ = false;
  size_t width_ = 0;
  std::vector<size_t> fields_;
  bool usable_ = true;
};

}  // namespace

std::optional<File> ReadFile(const std::string& path, Diagnostics& diagnostics, Pipes pipes) {
  const auto report = [&](const char* reason) -> std::optional<File> {
    diagnostics.Report(Problem::kFile, {std::make_shared<const std::string>(path), 0}, reason);
    return std::nullopt;
  };
  const auto fail = [&](int error) { return report(std::strerror(error)); };
  // A FIFO would keep us waiting, and a device has no end.
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) return fail(errno);
  if (S_ISDIR(status.st_mode)) return fail(EISDIR);
  const bool is_pipe = S_ISFIFO(status.st_mode) && pipes == Pipes::kRead;
  if (!S_ISREG(status.st_mode) && !is_pipe) return report("not a regular file");
  // What it is may change before it is opened.
  net::Descriptor descriptor(
      open(path.c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC | (is_pipe ? 0 : O_NONBLOCK)));
  if (!descriptor || fstat(descriptor.get(), &status) != 0) return fail(errno);
  if (!S_ISREG(status.st_mode) && !is_pipe) return report("not a regular file");
  const std::unique_ptr<std::FILE, Closer> file{fdopen(descriptor.get(), "rb")};
  if (file == nullptr) return fail(errno);
  descriptor.release();
  File result{path, {}};
  char buffer[65536];
  for (;;) {
    const size_t size = std::fread(buffer, 1, sizeof buffer, file.get());
    result.content.append(buffer, size);
    if (size == sizeof buffer) continue;
    if (std::ferror(file.get()) != 0) return fail(errno);
    return result;  // fread stops short at the end only
  }
}

const char* FaultOfField(std::string_view field) {
  if (field.find('\0') != std::string_view::npos) return " holds a NUL byte";
  return IsUtf8(field) ? nullptr : " is not UTF-8";
}

bool IsAbsent(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) != 0 && errno == ENOENT;
}

void ReadRows(const File& file, std::initializer_list<Column> columns, Others others,
              Diagnostics& diagnostics, const std::function<void(Row&&)>& take) {
  RowReader reader(file, columns, others, diagnostics, take);
  ParseRecords(WithoutByteOrderMark(file.content),
               {[&](size_t line, Record&& record) { reader.Take(line, std::move(record)); },
                [&](size_t line, const char* reason) { reader.Report(line, reason); }});
  reader.Finish();
}

}  // namespace byod::rulefiles
