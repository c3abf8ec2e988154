// What is wrong with a command line, for its author.
#ifndef BYODCTL_COMMAND_LINE_USAGE_ERROR_H
#define BYODCTL_COMMAND_LINE_USAGE_ERROR_H

#include <string>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace byod::ctl {

/**
 * @param app    the parser of the whole command line, as far as it came
 * @param error  why it stopped
 * @return one line that names the option or argument, and the right one that is nearest
 */
std::string UsageError(const CLI::App& app, const CLI::ParseError& error);

}  // namespace byod::ctl

#endif  // BYODCTL_COMMAND_LINE_USAGE_ERROR_H
