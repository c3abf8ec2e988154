// SPDX-License-Identifier: Apache-2.0
// The option --json, and the keys that its output has.
#ifndef BYODCTL_COMMAND_LINE_JSON_OPTION_H
#define BYODCTL_COMMAND_LINE_JSON_OPTION_H

#include <string>

#include "byodctl/command_line/parser.h"

namespace byod::ctl {

/**
 * Declares --json and adds the keys to the end of the command's help.
 *
 * @param keys  in the order of the output; the keys of nested objects follow theirs in braces:
 *              "line, problems {file, line}"
 * @param of    what each line is about; empty = the output is one object
 */
inline Option AddJsonOption(Parser& parser, bool& json, const std::string& keys,
                            const std::string& of = "") {
  parser.AddParagraphToHelp("JSON keys: " + keys + '.');
  return parser.AddFlag("--json", json,
                        "Write JSON" + (of.empty() ? "" : ", a line for each " + of));
}

}  // namespace byod::ctl

#endif  // BYODCTL_COMMAND_LINE_JSON_OPTION_H
