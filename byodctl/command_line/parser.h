// SPDX-License-Identifier: Apache-2.0
// Declares the options of a command. Only command_line.cpp includes the library that parses them:
// it consists of headers, and takes longer to compile than a command.
#ifndef BYODCTL_COMMAND_LINE_PARSER_H
#define BYODCTL_COMMAND_LINE_PARSER_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "byodctl/command_line/option_checks.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace byod::ctl {

/// A declared option or argument. Valid as long as its parser; copies mean the same option.
class Option {
 public:
  explicit Option(CLI::Option& option) : option_(&option) {}

  Option Required() const;
  /// The name of the value in the help.
  Option ValueName(const char* name) const;
  Option Check(OptionCheck check) const;
  /// The help shows the value that the variable has now.
  Option ShowDefault() const;
  /// One argument holds several values, with this between them.
  Option SeparatedBy(char separator) const;
  Option Excludes(const Option& other) const;
  Option Needs(const Option& other) const;

  /// Valid after the command line is parsed.
  bool IsGiven() const;

 private:
  CLI::Option* option_;
};

/**
 * Declares the options of one command.
 *
 * A name with dashes is an option, another one an argument; arguments are read in the order in
 * which they are declared. Variables keep their values when nothing is given, and outlive the
 * parser.
 */
class Parser {
 public:
  explicit Parser(CLI::App& app) : app_(app) {}

  Option AddText(const std::string& name, std::string& value, const std::string& help);
  Option AddText(const std::string& name, std::optional<std::string>& value,
                 const std::string& help);
  Option AddTexts(const std::string& name, std::vector<std::string>& values,
                  const std::string& help);
  /// @param take  called with the value, if one is given
  Option AddText(const std::string& name, std::function<void(const std::string&)> take,
                 const std::string& help);
  /// A whole number of 64 bits.
  Option AddNumber(const std::string& name, std::optional<uint64_t>& value,
                   const std::string& help);
  Option AddFlag(const std::string& name, bool& value, const std::string& help);
  /// @param take  called when the flag is given
  Option AddFlag(const std::string& name, std::function<void()> take, const std::string& help);

  /// Adds text to the end of the command's help, without wrapping it.
  void AddToHelp(const std::string& text);
  /// The same, wrapped to the width of the help.
  void AddParagraphToHelp(const std::string& paragraph);

  /// @param fault  called after parsing. @return what is wrong with the values together; empty =
  ///               nothing
  void CheckAll(std::function<std::string()> fault);

 private:
  CLI::App& app_;
};

}  // namespace byod::ctl

#endif  // BYODCTL_COMMAND_LINE_PARSER_H
