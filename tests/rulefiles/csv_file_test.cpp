// SPDX-License-Identifier: Apache-2.0
#include "rulefiles/csv_file.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "rulefiles/reports.h"

namespace byod::rulefiles {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

/// What a file of two columns, key and value, gives: "line:key=value" for each row.
struct Result {
  std::vector<std::string> rows;
  std::vector<std::string> reports;
};

Result Read(const std::string& content, Others others = Others::kUnknown) {
  Result result;
  Reports reports;
  ReadRows({"f.csv", content}, {{"key", Column::kKey}, {"value"}, {"note"}}, others,
           reports.diagnostics, [&](Row&& row) {
             result.rows.push_back(std::to_string(row.place.line) + ":" + row.fields[0] + "=" +
                                   row.fields[1] + row.fields[2]);
           });
  result.reports = reports.texts;
  return result;
}

TEST(CsvFile, ColumnsAreFoundByNameInAnyOrder) {
  const Result result = Read("value,note,key\n1,red,a\n2,blue,b\n");
  EXPECT_THAT(result.rows, ElementsAre("2:a=1red", "3:b=2blue"));
  EXPECT_THAT(result.reports, IsEmpty());
}

TEST(CsvFile, AnUnknownColumnIsIgnoredWithAWarningThatNamesTheNearestOne) {
  const Result result = Read("vlaue,colour,key\n1,red,a\n");
  EXPECT_THAT(result.rows, ElementsAre("2:a="));
  EXPECT_THAT(
      result.reports,
      ElementsAre("f.csv:1: warning: column \"vlaue\" is unknown, it is ignored; did you mean "
                  "\"value\"?",
                  "f.csv:1: warning: column \"colour\" is unknown, it is ignored"));
}

TEST(CsvFile, AFileThatMayHoldOtherColumnsIsReadWithoutAWord) {
  const Result result = Read("vlaue,colour,key\n1,red,a\n", Others::kExpected);
  EXPECT_THAT(result.rows, ElementsAre("2:a="));
  EXPECT_THAT(result.reports, IsEmpty());
}

TEST(CsvFile, AMisspeltKeyColumnIsTheFaultThatIsNamed) {
  const Result result = Read("kye,value\n1,red\n");
  EXPECT_THAT(result.rows, IsEmpty());
  EXPECT_THAT(
      result.reports,
      ElementsAre(
          "f.csv:1: column key is missing, no row can be used; is \"kye\" meant to be key?"));
}

TEST(CsvFile, QuotedFieldsKeepCommasQuotesAndLineEnds) {
  const Result result = Read("key,value\n\"a,b\",\"say \"\"hi\"\"\"\n\"c\nd\",\"\"\n\"\"\"\",x\n");
  EXPECT_THAT(result.rows, ElementsAre("2:a,b=say \"hi\"", "3:c\nd=", "5:\"=x"));
  EXPECT_THAT(result.reports, IsEmpty());
}

TEST(CsvFile, BlanksBelongToAField) {
  EXPECT_THAT(Read("key,value\n a , b \n\" c \",\td\n").rows,
              ElementsAre("2: a = b ", "3: c =\td"));
}

TEST(CsvFile, LinesEndWithLfCrlfOrCr) {
  EXPECT_THAT(Read("key,value\r\na,1\r\nb,2\r\n").rows, ElementsAre("2:a=1", "3:b=2"));
  EXPECT_THAT(Read("key,value\ra,1\rb,2\r").rows, ElementsAre("2:a=1", "3:b=2"));
  EXPECT_THAT(Read("key,value\na,1\nb,2").rows, ElementsAre("2:a=1", "3:b=2"));
  EXPECT_THAT(Read("key,value\na,1\nb,\"2\"").rows, ElementsAre("2:a=1", "3:b=2"));
  EXPECT_THAT(Read("key,value\n\"a\r\nb\",1\r\nc,2\r\n").rows, ElementsAre("2:a\r\nb=1", "4:c=2"));
}

TEST(CsvFile, CommentsAndBlankLinesAreSkippedButCounted) {
  const Result result =
      Read("# a \"comment\nkey,value\n\n#x\n\na,1\n\"#b\",#2\n\"c\n# inside\",3\n#end");
  EXPECT_THAT(result.rows, ElementsAre("6:a=1", "7:#b=#2", "8:c\n# inside=3"));
  EXPECT_THAT(result.reports, IsEmpty());
}

TEST(CsvFile, AByteOrderMarkIsSkipped) {
  EXPECT_THAT(Read("\xEF\xBB\xBFkey,value\na,1\n").rows, ElementsAre("2:a=1"));
}

TEST(CsvFile, ARowWithTooFewOrTooManyFieldsIsReportedAndLeftOut) {
  const Result result = Read("key,value\na\nb,1,2\nc,3\n");
  EXPECT_THAT(result.rows, ElementsAre("4:c=3"));
  EXPECT_THAT(result.reports, ElementsAre("f.csv:2: 1 field, the header names 2",
                                          "f.csv:3: 3 fields, the header names 2"));
}

TEST(CsvFile, ARowThatIsNotUtf8OrHoldsANulIsReportedAndLeftOut) {
  const Result result =
      Read("key,value\na,\xC3\x28\nb\xFF,1\nc,\xED\xA0\x80\nd,x\0y\ne,\xC3\xA4\n"s);
  EXPECT_THAT(result.rows, ElementsAre("6:e=\xC3\xA4"));
  EXPECT_THAT(result.reports,
              ElementsAre("f.csv:2: value is not UTF-8", "f.csv:3: key is not UTF-8",
                          "f.csv:4: value is not UTF-8", "f.csv:5: value holds a NUL byte"));
}

TEST(CsvFile, AMisplacedQuoteCostsItsRowAlone) {
  const Result result = Read("key,value\na,5\" disk\n\"b\"c,1\nd,2\n");
  EXPECT_THAT(result.rows, ElementsAre("4:d=2"));
  EXPECT_THAT(result.reports,
              ElementsAre("f.csv:2: misplaced double quote", "f.csv:3: misplaced double quote"));
}

TEST(CsvFile, AQuoteThatIsNeverClosedCostsItsLineAlone) {
  const Result result = Read("key,value\n\"a,1\nb,2\nc,3\n");
  EXPECT_THAT(result.rows, ElementsAre("3:b=2", "4:c=3"));
  EXPECT_THAT(result.reports, ElementsAre("f.csv:2: quoted field is not closed"));
}

TEST(CsvFile, AQuoteThatIsClosedByAnotherRowsQuoteCostsItsLineAlone) {
  const Result result = Read("key,value\n\"a,1\nb,\"2\"\nc,3\n");
  EXPECT_THAT(result.rows, ElementsAre("3:b=2", "4:c=3"));
  EXPECT_THAT(result.reports, ElementsAre("f.csv:2: misplaced double quote"));
}

TEST(CsvFile, ARecordIsTakenUpTo64KiBAndReportedAbove) {
  const std::string fits(65536 - 3, 'x');  // with the comma, the value and the line end
  EXPECT_THAT(Read("key,value\n" + fits + ",1\na,2\n").rows,
              ElementsAre("2:" + fits + "=1", "3:a=2"));
  const Result result = Read("key,value\n" + fits + "x,1\na,2\n");
  EXPECT_THAT(result.rows, ElementsAre("3:a=2"));
  EXPECT_THAT(result.reports, ElementsAre("f.csv:2: record is longer than 65536 bytes"));
}

TEST(CsvFile, WithoutItsKeyColumnNoRowIsUsed) {
  const Result result = Read("value\n1\n2\n");
  EXPECT_THAT(result.rows, IsEmpty());
  EXPECT_THAT(result.reports, ElementsAre("f.csv:1: column key is missing, no row can be used"));
}

TEST(CsvFile, AMissingOptionalColumnStaysEmptyWithoutAWord) {
  const Result result = Read("#\nkey\na\nb\n");
  EXPECT_THAT(result.rows, ElementsAre("3:a=", "4:b="));
  EXPECT_THAT(result.reports, IsEmpty());
}

TEST(CsvFile, AColumnThatStandsTwiceIsReportedAndTheFirstCounts) {
  const Result result = Read("key,value,key\na,1,b\n");
  EXPECT_THAT(result.rows, ElementsAre("2:a=1"));
  EXPECT_THAT(result.reports,
              ElementsAre("f.csv:1: column key stands twice, the first one counts"));
}

TEST(CsvFile, AFileWithoutAHeaderLineIsReported) {
  EXPECT_THAT(Read("").reports, ElementsAre("f.csv: no header line"));
  EXPECT_THAT(Read("# only\n\n").reports, ElementsAre("f.csv: no header line"));
}

TEST(CsvFile, AHeaderThatCannotBeReadLeavesNoRows) {
  const Result result = Read("key,va\"lue\na,1\n");
  EXPECT_THAT(result.rows, IsEmpty());
  EXPECT_THAT(result.reports, ElementsAre("f.csv:1: misplaced double quote"));
}

TEST(CsvFile, AFileThatCannotBeReadIsReportedWithTheSystemsReason) {
  const ScratchDirectory directory;
  const std::string absent = directory.path() + "/absent.csv";
  Reports reports;
  EXPECT_FALSE(ReadFile(absent, reports.diagnostics));
  EXPECT_FALSE(ReadFile(directory.path(), reports.diagnostics));
  EXPECT_THAT(reports.texts, ElementsAre(absent + ": No such file or directory",
                                         directory.path() + ": Is a directory"));
  EXPECT_TRUE(IsAbsent(absent));
  EXPECT_FALSE(IsAbsent(directory.path()));
}

// A FIFO in a rule directory kept the daemon from starting, and /dev/zero filled its memory.
TEST(CsvFile, WhatIsNotARegularFileIsReportedAtOnce) {
  const ScratchDirectory directory;
  const std::string fifo = directory.path() + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const std::string link = directory.path() + "/link";
  ASSERT_EQ(symlink(fifo.c_str(), link.c_str()), 0);
  for (const std::string& path : {fifo, link, std::string{"/dev/zero"}}) {
    Reports reports;
    EXPECT_FALSE(ReadFile(path, reports.diagnostics));
    EXPECT_THAT(reports.texts, ElementsAre(path + ": not a regular file"));
  }
}

TEST(CsvFile, APipeIsReadWhereThatIsAskedFor) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(write(ends[1], "key\n", 4), 4);
  close(ends[1]);
  Reports reports;
  const auto file =
      ReadFile("/dev/fd/" + std::to_string(ends[0]), reports.diagnostics, Pipes::kRead);
  ASSERT_TRUE(file);
  EXPECT_EQ(file->content, "key\n");
  EXPECT_FALSE(ReadFile("/dev/zero", reports.diagnostics, Pipes::kRead));
  close(ends[0]);
}

TEST(CsvFile, AFileIsReadWhole) {
  const ScratchDirectory directory;
  std::string content(200000, 'x');
  content.append("\0\r\n", 3);
  Reports reports;
  const auto file = ReadFile(directory.Write("f.csv", content), reports.diagnostics);
  ASSERT_TRUE(file);
  EXPECT_EQ(file->content, content);
}

}  // namespace
}  // namespace byod::rulefiles
