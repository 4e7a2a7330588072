// The command line.

#ifndef SANDBOX_OPTIONS_H
#define SANDBOX_OPTIONS_H

#include "calendar.h"
#include "failures.h"

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

struct Options
{
    int port = 18443; ///< 0 takes a free one
    std::string dataFolder;
    bool folderIsOurs = false; ///< the default one, which nobody chose
    std::string database;
    std::optional<Day> today; ///< empty: the machine's date
    std::chrono::seconds sessionLifetime = std::chrono::hours(8);
    std::vector<Failure> failures;
    bool reset = false;
    bool makeAuthorityOnly = false;
    bool help = false;
};

/// The command line makes no sense; what() says why in one sentence.
class UsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Reads the arguments, the program's own name not among them, and fills in the default paths.
/// Throws UsageError.
Options optionsFrom(const std::vector<std::string> &arguments);

/// What --help prints.
std::string helpText();

#endif // SANDBOX_OPTIONS_H
