// Reading the command line.

#include "options.h"

#include "texts.h"

#include <cstdlib>

namespace {
constexpr std::int64_t MaxPort = 65535;
constexpr std::int64_t MaxSessionSeconds = 365L * 86400;

std::string environment(const char *name)
{
    const char *value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

std::string defaultDataFolder()
{
    const std::string home = environment("HOME");
#ifdef __APPLE__
    const std::string base = home.empty() ? home : home + "/Library/Application Support";
#else
    std::string base = environment("XDG_DATA_HOME");
    // A relative path there counts as none.
    if ((base.empty() || base[0] != '/') && !home.empty())
        base = home + "/.local/share";
#endif
    if (base.empty())
        throw UsageError("There is no home folder to keep data in; choose one with --data-dir.");
    return base + "/veltrano-sandbox";
}

std::int64_t numberBetween(const std::string &name, const std::string &text, std::int64_t least,
                           std::int64_t most)
{
    const std::optional<std::int64_t> number = numberFromText(text);
    if (!number || *number < least || *number > most) {
        throw UsageError(name + " takes a number from " + std::to_string(least) + " to " +
                         std::to_string(most) + ", not " + inQuotes(text) + ".");
    }
    return *number;
}

Failure failure(const std::string &text)
{
    const std::optional<Failure> result = failureFromText(text);
    if (!result) {
        throw UsageError("--fail takes a kind of failure that --help lists, alone or with a colon "
                         "and a number from 1 to " +
                         std::to_string(MaxEvery) + ", not " + inQuotes(text) + ".");
    }
    return *result;
}

/// Null where no option without a value has that name.
bool *flagOf(Options &options, const std::string &name)
{
    if (name == "--help" || name == "-h")
        return &options.help;
    if (name == "--reset")
        return &options.reset;
    return name == "--make-ca" ? &options.makeAuthorityOnly : nullptr;
}

bool takesValue(const std::string &name)
{
    return name == "--port" || name == "--data-dir" || name == "--database" || name == "--today" ||
           name == "--session-seconds" || name == "--fail";
}

void setValue(Options &options, const std::string &name, const std::string &value)
{
    if (value.empty())
        throw UsageError(name + " needs a value.");
    if (name == "--port") {
        options.port = static_cast<int>(numberBetween(name, value, 0, MaxPort));
    } else if (name == "--data-dir") {
        options.dataFolder = value;
    } else if (name == "--database") {
        options.database = value;
    } else if (name == "--today") {
        options.today = dayFromText(value);
        if (!options.today)
            throw UsageError("--today takes a date like 2026-03-01, not " + inQuotes(value) + ".");
    } else if (name == "--session-seconds") {
        options.sessionLifetime =
            std::chrono::seconds(numberBetween(name, value, 1, MaxSessionSeconds));
    } else {
        options.failures.push_back(failure(value));
    }
}
} // namespace

Options optionsFrom(const std::vector<std::string> &arguments)
{
    Options options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::size_t equals = arguments[i].find('=');
        const std::string name = arguments[i].substr(0, equals);
        if (takesValue(name)) {
            if (equals != std::string::npos) {
                setValue(options, name, arguments[i].substr(equals + 1));
            } else {
                ++i;
                setValue(options, name, i < arguments.size() ? arguments[i] : std::string());
            }
        } else if (bool *flag = flagOf(options, arguments[i])) {
            *flag = true;
        } else {
            throw UsageError("There is no option " + inQuotes(arguments[i]) +
                             "; --help lists them all.");
        }
    }
    if (options.help)
        return options;
    options.folderIsOurs = options.dataFolder.empty();
    if (options.folderIsOurs)
        options.dataFolder = defaultDataFolder();
    if (options.database.empty())
        options.database = options.dataFolder + "/sandbox.sqlite";
    return options;
}

std::string helpText()
{
    return R"(Usage: veltrano-sandbox [OPTION]...

A stand-in of the tracker service for this machine only: HTTPS on localhost,
with a demonstration account. Ctrl+C stops it.

  --port N             listen on port N (default 18443); 0 takes a free port
  --data-dir FOLDER    keep certificates and database in FOLDER (default:
                       veltrano-sandbox in the user's data folder)
  --database FILE      keep the accounts in FILE (default: sandbox.sqlite in the
                       data folder)
  --reset              start with fresh demonstration data; certificates stay
  --today YYYY-MM-DD   take this day for today (default: the machine's date)
  --session-seconds N  end a session N seconds after its login (default 28800);
                       a restart ends all sessions
  --fail KIND[:EVERY]  fail on purpose, in one request of EVERY (default: each);
                       may be given again; KIND is slow, silent, refuse-session,
                       empty-reply, cut-reply or error-page
  --make-ca            only make the certificates if they are missing, print the
                       path of the CA certificate, and exit
  --help, -h           show this text and exit

Exit codes: 0 stopped by Ctrl+C or SIGTERM, 1 could not run, 2 wrong command
line. The log, one line for each request, goes to the standard error output.
)";
}
