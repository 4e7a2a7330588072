// What lasts for a while, on a clock that does not have to be waited for, and the calendar's days.

#include "calendar.h"
#include "database.h"
#include "duplicates.h"
#include "endpoints.h"
#include "seed.h"

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {
using std::chrono::milliseconds;
using std::chrono::seconds;

/// A clock that stands still until it is moved.
class HandClock
{
public:
    Clock clock() const
    {
        return [this] {
            return m_now;
        };
    }
    void move(milliseconds duration) { m_now += duration; }

private:
    std::chrono::steady_clock::time_point m_now{std::chrono::hours(1)};
};

/// A folder that goes with everything in it.
class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        if (mkdtemp(m_path.data()) == nullptr)
            throw std::runtime_error("no temporary folder");
    }
    ~TemporaryFolder()
    {
        std::error_code error;
        std::filesystem::remove_all(m_path, error);
    }
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    std::string path(const std::string &name) const { return m_path + "/" + name; }

private:
    std::string m_path = std::filesystem::temp_directory_path() / "check-times-XXXXXX";
};

/// Counts what did not hold.
class Checks
{
public:
    void that(bool holds, const std::string &what)
    {
        std::cout << (holds ? "ok: " : "FAILED: ") << what << '\n';
        m_failed += holds ? 0 : 1;
    }
    int failed() const { return m_failed; }

private:
    int m_failed = 0;
};

std::vector<PostedPeriod> period()
{
    return {{"2310520", "2026-04-01", "7"}};
}

void duplicatesAreForgottenAfterFiveSeconds(Checks &check)
{
    HandClock time;
    DuplicateDetector detector(time.clock());
    check.that(!detector.note(1, period()), "the first activation is no duplicate");
    time.move(milliseconds(1200));
    check.that(detector.note(1, period()) == milliseconds(1200), "one after 1.2 seconds is");
    time.move(seconds(5));
    check.that(detector.note(1, period()) == seconds(5), "after five seconds it still is");
    time.move(milliseconds(5001));
    check.that(!detector.note(1, period()), "a millisecond later it is a new one");
}

bool isRefused(Service &service, const std::string &token)
{
    return service.answer({"GET", "/bsGetMyGroups.php", "", token}).code == "rcode=-99";
}

void sessionsEndHoweverMuchTheyAreUsed(Checks &check)
{
    const TemporaryFolder folder;
    HandClock time;
    const Day today = 20522;
    LockedDatabase data = openDatabase(folder.path("data.db"), false, today);
    Service service(std::move(data.database), today, seconds(100), time.clock());
    const std::string login = std::string("email=") + DemoEmail + "&password=" + DemoPassword;

    const std::string token = service.answer({"POST", "/bslogin.php", login, ""}).token;
    check.that(!token.empty() && !isRefused(service, token), "a login opens a session");
    for (int i = 0; i < 99; ++i) {
        time.move(seconds(1));
        check.that(!isRefused(service, token), "it is used every second");
    }
    time.move(milliseconds(999));
    check.that(!isRefused(service, token), "it lasts until its last millisecond");
    const std::string other = service.answer({"POST", "/bslogin.php", login, ""}).token;
    time.move(milliseconds(1));
    check.that(isRefused(service, token), "then it has ended");
    check.that(!isRefused(service, other), "a later one has its own time");
}

/// In no time zone, nor where the machine's clock counts leap seconds, does a day become another.
void daysAreReadAndWritten(Checks &check)
{
    const std::vector<std::pair<Day, std::string>> days{
        {-719162, "0001-01-01"}, {-718008, "0004-02-29"}, {-141432, "1582-10-10"},
        {-25568, "1899-12-31"},  {-25509, "1900-02-28"},  {-25508, "1900-03-01"},
        {-1, "1969-12-31"},      {0, "1970-01-01"},       {911, "1972-06-30"},
        {11016, "2000-02-29"},   {20522, "2026-03-10"},   {24856, "2038-01-20"},
        {47541, "2100-03-01"},   {2932896, "9999-12-31"}};
    const std::vector<std::string> none{"0000-12-31", "1900-02-29",  "2026-00-10",  "2026-13-01",
                                        "2026-04-00", "2026-04-31",  "2026-02-30",  "2026-4-01",
                                        "2026-04-1",  " 026-04-01",  "+026-04-01",  "2026-04-+1",
                                        "2026/04/01", "2026-04-01 ", "10000-01-01", ""};
    for (const char *zone : {"UTC", "UTC-14", "UTC+12", "America/New_York", "right/UTC"}) {
        setenv("TZ", zone, 1);
        tzset();
        for (const auto &[day, text] : days) {
            check.that(dayText(day) == text, text + " is written in " + zone);
            check.that(dayFromText(text) == day, text + " is read in " + zone);
        }
        for (const std::string &text : none)
            check.that(!dayFromText(text), "no day in " + std::string(zone) + ": " + text);
    }
}
} // namespace

int main()
{
    try {
        Checks check;
        duplicatesAreForgottenAfterFiveSeconds(check);
        sessionsEndHoweverMuchTheyAreUsed(check);
        daysAreReadAndWritten(check);
        return check.failed() == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception &error) {
        std::cerr << error.what() << std::endl;
        return EXIT_FAILURE;
    }
}
