// The option --json, and the keys that its output has.
#ifndef BYODCTL_COMMAND_LINE_JSON_OPTION_H
#define BYODCTL_COMMAND_LINE_JSON_OPTION_H

#include <CLI/App.hpp>
#include <string>

namespace byod::ctl {

/**
 * Declares --json and adds the keys to the end of the command's help.
 *
 * @param keys  in the order of the output; the keys of nested objects follow theirs in braces:
 *              "line, problems {file, line}"
 * @param of    what each line is about; empty = the output is one object
 * @return the option
 */
CLI::Option* AddJsonOption(CLI::App& app, bool& json, const std::string& keys,
                           const std::string& of = "");

/// Adds a paragraph to the end of a command's help, wrapped.
void AddToHelp(CLI::App& app, const std::string& paragraph);

}  // namespace byod::ctl

#endif  // BYODCTL_COMMAND_LINE_JSON_OPTION_H
