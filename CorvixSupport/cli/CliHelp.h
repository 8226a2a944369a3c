// What the verbs share in their help and parsing: help wrapped to the terminal, the exit codes and
// environment that end it, whole-number options whose errors quote what was typed, and the
// "did you mean" suggestion for a mistyped verb or option.
//
// Pure functions and one formatter; no state, any thread.
#ifndef CORVIX_CLI_CLIHELP_H
#define CORVIX_CLI_CLIHELP_H

#include <CLI/CLI.hpp>

#include <string>
#include <utility>
#include <vector>

// CLI11's help with every line wrapped to a width: an option's or verb's description continues
// under its own column, other lines under their first character. A word longer than a line
// (a path) stands whole on a line of its own.
class CliHelpFormatter : public CLI::Formatter {
  public:
    explicit CliHelpFormatter(int columns);
    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode mode) const override;

  private:
    int _columns;
};

// text with each line longer than columns broken at blanks, as CliHelpFormatter does.
std::string cliWrap(const std::string& text, int columns);

// A help footer's "Exit codes:" block, one row per code and its meaning.
std::string cliExitCodes(const std::vector<std::pair<const char*, const char*>>& codes);

// The "Environment:" block: the variables the tool reads, as the program's help lists them.
std::string cliEnvironment();

// A validator for an option taking a whole number from 0 to max: anything else ("abc", "-1",
// "1e3", "0x10", a number over max) is refused with a message that quotes the text as typed, and
// an accepted text is handed on in plain decimal (no leading zeros, which CLI11 would read as
// octal). unit names what is counted ("seconds").
CLI::Validator cliWholeNumber(long long max, const std::string& unit);

// The candidate nearest to word (a few edits away, or word a prefix of only it); empty if none.
std::string cliNearest(const std::string& word, const std::vector<std::string>& candidates);

// For a parse error about unexpected arguments, a message naming the first one and the verb or
// option it was probably meant to be; empty when there is no such guess. app is the program's,
// after the failed parse.
std::string cliSuggestion(const CLI::App& app, const CLI::Error& error);

#endif
