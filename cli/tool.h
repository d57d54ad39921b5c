// The command-line tool `diebom`: commands, options, exit codes.
//
// Exit codes: 0 success, 1 a failure of the job (a file that cannot be read
// or written, a configuration error, a computation error), 2 bad usage.
// Results go to standard output and errors to standard error, one line each,
// all in UTF-8. Paths on the command line are local (UTF-8) paths.
#pragma once

#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace cli {

enum ExitCode : int { kSuccess = 0, kFailure = 1, kUsage = 2 };

// Bad usage: unknown option, missing or extra argument, bad value. The
// message is GBK, as all text inside the program.
class UsageError : public std::runtime_error {
 public:
  explicit UsageError(const std::string& what) : std::runtime_error(what) {}
};

// A failure of the job, with a GBK message.
class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& what) : std::runtime_error(what) {}
};

// One option a command takes.
struct OptionSpec {
  std::string name;     // long name without "--"
  char short_name = 0;  // or 0
  bool takes_value = false;
};

struct ParsedArgs {
  std::map<std::string, std::string> values;  // options with values, last one wins
  std::set<std::string> flags;                // options without values
  std::vector<std::string> positional;
};

// "--name value", "--name=value", "-x", "-x value"; "--" ends the options.
// Throws UsageError.
ParsedArgs ParseArgs(const std::vector<std::string>& args, const std::vector<OptionSpec>& spec);

// The tool: `args` without the program name. Writes to standard output and
// standard error; returns the exit code.
int Main(const std::vector<std::string>& args);

// The commands (arguments after the command name).
int RunBlanks(const std::vector<std::string>& args);
int RunBom(const std::vector<std::string>& args);
int RunDiff(const std::vector<std::string>& args);
int RunReport(const std::vector<std::string>& args);
int RunSample(const std::vector<std::string>& args);
int RunStudio(const std::vector<std::string>& args);

// A local (UTF-8) path in a GBK message; characters without a GBK form become "?".
std::string PathText(const std::string& utf8_path);
// GBK text for the console (UTF-8); bytes that are not GBK become U+FFFD.
std::string ConsoleText(const std::string& gbk);
// Writes GBK text to standard output or standard error as UTF-8.
void Print(const std::string& gbk);
void PrintError(const std::string& gbk);

// The shipped sample configuration root (the default of --config).
std::string SampleConfigRoot();

}  // namespace cli
