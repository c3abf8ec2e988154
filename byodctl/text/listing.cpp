// SPDX-License-Identifier: Apache-2.0
#include "byodctl/text/listing.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "byodctl/text/display_text.h"

namespace byod::ctl {
namespace {

std::vector<std::string> HeadingsOf(const std::vector<Column>& columns) {
  std::vector<std::string> headings;
  for (const Column& column : columns)
    headings.emplace_back(column.heading);
  return headings;
}

std::string ForPeople(const Field& field) {
  return Cell(field.text ? *field.text : field.value.ToPlainText().value_or(""));
}

/// Without marks that only people read.
std::string ForTsv(const Field& field) {
  std::string text = field.value.ToPlainText().value_or(field.text.value_or(""));
  std::ranges::replace_if(text, [](char c) { return c == '\t' || c == '\n' || c == '\r'; }, ' ');
  return WithoutControls(text);
}

}  // namespace

const Field& FieldOf(const Item& item, std::string_view key) {
  static const Field kNone{"", {}, {}};
  const auto field = std::ranges::find(item, key, &Field::key);
  return field != item.end() ? *field : kNone;
}

Json JsonOf(const Item& item) {
  Json object = Json::EmptyObject();
  for (const Field& field : item)
    object.Set(std::string{field.key}, field.value);
  return object;
}

Listing::Listing(OutputForm form, std::vector<Column> columns, std::ostream& out)
    : form_(form), columns_(std::move(columns)), out_(out), table_(HeadingsOf(columns_)) {
  if (form_ != OutputForm::kTsv) return;
  for (size_t i = 0; i < columns_.size(); ++i)
    out_ << (i > 0 ? "\t" : "") << columns_[i].key;
  out_ << '\n';
}

void Listing::Add(const Item& item, Emphasis emphasis) {
  if (form_ == OutputForm::kJson) {
    out_ << JsonOf(item).ToString() << '\n';
  } else if (form_ == OutputForm::kTsv) {
    AddLine(item);
  } else {
    std::vector<std::string> cells;
    for (const Column& column : columns_)
      cells.push_back(ForPeople(FieldOf(item, column.key)));
    table_.Add(std::move(cells), emphasis);
  }
}

void Listing::AddLine(const Item& item) {
  for (size_t i = 0; i < columns_.size(); ++i)
    out_ << (i > 0 ? "\t" : "") << ForTsv(FieldOf(item, columns_[i].key));
  out_ << '\n';
}

void Listing::Finish(const std::string& note) {
  if (form_ != OutputForm::kTable) return;
  table_.Write(out_);
  out_ << note;
}

}  // namespace byod::ctl
