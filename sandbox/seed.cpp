// The demonstration data, and filling an empty database with it.

#include "seed.h"

#include "accounts.h"
#include "money.h"

#include <array>
#include <string>

namespace {
constexpr std::int64_t DemoAccount = 1;
constexpr Cents DemoBalance = 41250;

struct Group
{
    int id;
    const char *name;
};

/// Days from the day of the seeding to the first day, and how many days. No days: no period.
struct Period
{
    int start;
    int days;
};

/// Without an IMSI there is no SIM card and no state. Group 0 is none.
struct Tracker
{
    const char *serial;
    const char *name;
    const char *compeId;
    const char *firmware;
    const char *imsi;
    bool extended;
    std::array<int, 3> groups;
    std::array<Period, 3> periods;
};

constexpr std::array<Group, 3> Groups{{
    {12, "Alpine Cup"},
    {27, "Club trackers"},
    {40, "Rental pool – Süd"},
}};

// The serial numbers are chosen for their barcodes: each has a check digit, but for the one of the
// weather mast, whose check value would be ten and which no reader therefore gets accepted.
// clang-format off
constexpr std::array<Tracker, 60> Trackers{{
    {"0041200", "Club single seater 1", "C1", "305", "262073171246566", true, {{27}}, {{{-35, 7}, {-1, 5}, {12, 7}}}},
    {"0041228", "Club single seater 2", "C2", "298", "262072132480060", false, {{27, 40}}, {{{-20, 7}, {6, 7}}}},
    {"0041248", "Two seater \"Blauer Reiher\"", "C3", "298", "262076658142303", false, {{27}}, {{{-14, 7}}}},
    {"0041290", "Winch truck", "C4", "298", "262078531811146", true, {{27}}, {}},
    {"0041320", "Tow plane north", "C5", "298", "262074113424221", false, {{27}}, {{{-5, 60}}}},
    {"0041321", "Tow plane south", "C6", "305", "262070756849392", false, {{27}}, {{{-3, 7}}}},
    {"0041344", "Retrieve car 1", "C7", "310", "262071002170858", true, {{27}}, {{{3, 14}}}},
    {"0041396", "Retrieve car 2", "C8", "42", "262075078123983", false, {{27}}, {}},
    {"0041424", "Junior team A & B", "C9", "305", "262074920642638", true, {{27, 40}}, {{{-2, 2}}}},
    {"0041470", "Launch point", "C10", "312", "262079128916518", false, {{27}}, {{{20, 7}, {40, 7}}}},
    {"0041500", "Training set 1 = 2 boxes", "C11", "42", "262073177351297", false, {{27}}, {{{-60, 14}}}},
    {"0041508", "Training set 2", "C12", "310", "262075980221859", false, {{27}}, {}},
    {"0041536", "Safety boat <spare>", "C13", "298", "262074739655724", false, {{27}}, {{{0, 2}}}},
    {"0041537", "Crew of the northern valley with the long trailer, the second radio and both keys: ask at the desk before taking it along", "C15", "305", "262071892478001", false, {{27}}, {{{-9, 14}, {10, 10}}}},
    {"0041560", "Señalización este", "C16", "312", "262072580103945", false, {{27}}, {{{7, 7}}}},
    {"0041584", "Señalización oeste", "C17", "305", "262072434317078", false, {{27}}, {}},
    {"0041590", "Rescue quad", "C14", "298", "262070267352360", true, {{27}}, {{{-200, 30}}}},
    {"0041710", "Kontrollpunkt Süd", "C18", "305", "262078370671173", false, {{27}}, {{{-28, 14}}}},
    {"0041732", "Chase van + trailer", "C20", "305", "262077019735687", false, {{27}}, {{{1, 365}}}},
    {"0041740", "Balise d'entraînement 50%", "C19", "305", "262079483084572", true, {{27}}, {{{-3, 4}, {15, 7}}}},
    {"0041773", "Weather mast", "C21", "42", "262075859037352", false, {{27}}, {}},
    {"2310400", "Anna Bergström", "XD", "305", "262070207388624", false, {{12, 27}}, {{{-40, 14}, {-3, 10}, {21, 7}}}},
    {"2310429", "Luca Moretti", "BC", "42", "262072179419893", false, {{12}}, {{{-2, 7}}}},
    {"2310456", "Łukasz Wiśniewski", "CX", "298", "262070300026767", false, {{12}}, {{{5, 7}}}},
    {"2310484", "Chloé d'Aubigné", "YB", "305", "262079548738649", true, {{12, 27}}, {{{-20, 7}}}},
    {"2310520", "Jürgen Großmann", "HB", "42", "262071703729684", false, {{12}}, {}},
    {"2310544", "Siobhán O'Rourke", "FD", "42", "262079914853944", false, {{12}}, {{{1, 3}}}},
    {"2310550", "Αλέξης Παππάς", "EX", "305", "262075538829718", false, {{12, 27, 40}}, {{{-6, 14}}}},
    {"2310610", "Þóra Guðmundsdóttir", "ND", "42", "262072744112455", false, {{12}}, {{{-90, 30}, {14, 14}}}},
    {"2310616", "Đorđe Šarić", "YS", "298", "262075644219119", false, {{12, 27}}, {{{-1, 2}, {30, 7}}}},
    {"2310640", "山田 太郎", "BZ", "310", "262078859611191", true, {{12}}, {}},
    {"2310680", "Mateus Gonçalves", "HC", "312", "262079362026906", false, {{12}}, {{{9, 21}}}},
    {"2310713", "Ирина Соколова", "B2", "312", "262076395047810", true, {{12}}, {}},
    {"2310730", "Ingrid Næss", "M4", "312", "262076550669089", false, {{12}}, {{{-12, 7}}}},
    {"2310736", "Pavel Dvořák", "WR", "312", "262070314395342", false, {{12}}, {{{-4, 30}}}},
    {"2310737", "Tomás Núñez", "NZ", "42", "262075642502604", false, {{12}}, {{{2, 2}}}},
    {"2310784", "Fenna van 't Hoff", "B4", "312", "262072852512026", false, {{12}}, {{{0, 7}}}},
    {"2310820", "Şebnem Çelik", "C7", "42", "262077717592285", false, {{12}}, {{{-30, 7}, {-15, 7}}}},
    {"2310856", "Katalin Szűcs", "BG", "42", "262074797889912", false, {{12}}, {{{-365, 365}}}},
    {"2310904", "נועה לוי", "SN", "310", "262071490376253", true, {{12}}, {{{60, 30}}}},
    {"2310911", "Rémi Lefèvre", "L3", "312", "262077825107365", false, {{12}}, {}},
    {"5120300", "Rental 01", "R01", "305", "262077941123622", false, {{40}}, {}},
    {"5120328", "Rental 02", "R02", "298", "262076373021323", false, {{40}}, {{{-10, 7}}}},
    {"5120348", "Rental 03", "R03", "305", "262079028827059", false, {{12, 40}}, {{{-3, 7}}}},
    {"5120384", "Rental 04", "R04", "310", "262075432089498", true, {{40}}, {{{4, 7}}}},
    {"5120420", "Rental 05", "R05", "305", "", false, {{40}}, {}},
    {"5120450", "Rental 06", "R06", "305", "262071553714997", false, {{40}}, {}},
    {"5120480", "Rental 07", "R07", "42", "262073926226243", false, {{40}}, {{{-45, 14}}}},
    {"5120510", "Rental 08", "R08", "312", "", false, {{40}}, {{{-1, 3}}}},
    {"5120540", "Rental 09", "R09", "305", "262079711415816", true, {{40}}, {{{8, 7}}}},
    {"5120552", "Rental 10", "R10", "305", "262079546822183", false, {{40}}, {}},
    {"5120564", "Rental 12 (display cracked)", "R12", "305", "262077809680535", false, {{40}}, {{{-3, 7}}}},
    {"5120601", "Rental 11", "R11", "42", "262079547891266", false, {{40}}, {{{-25, 7}}}},
    {"5120660", "Rental 13", "R13", "305", "262079448575793", false, {{40}}, {}},
    {"5120664", "Rental 14", "R14", "312", "", true, {{40}}, {{{11, 14}}}},
    {"5120720", "Rental 15", "R15", "305", "262074250315046", false, {{40}}, {}},
    {"5120721", "Rental 16", "R16", "298", "262071113145426", false, {{40}}, {{{-7, 14}}}},
    {"5120776", "Rental 18", "R18", "310", "262078538558444", false, {{40}}, {{{-18, 7}}}},
    {"5120780", "Rental 17 – réservé", "R17", "42", "262078403168264", false, {{40}}, {}},
    {"5120804", "Rental 19", "R19", "305", "262070946878464", true, {{40}}, {{{30, 7}}}},
}};
// clang-format on

void addAccount(Database &database)
{
    const PasswordHash password = hashPassword(DemoPassword);
    auto account =
        statement(database,
                  "INSERT INTO account (id, email, name, password_iterations, balance_cents,"
                  " password_salt, password_hash) VALUES (?, ?, ?, ?, ?, ?, ?)",
                  DemoAccount, DemoEmail, "Mara Lindqvist", password.iterations, DemoBalance);
    account.bind(6, password.salt.data(), static_cast<int>(password.salt.size()));
    account.bind(7, password.hash.data(), static_cast<int>(password.hash.size()));
    account.exec();
}

void addTracker(Database &database, const Tracker &tracker, Day today)
{
    statement(database,
              "INSERT INTO tracker (serial, account_id, name, compe_id, firmware, imsi, extended,"
              " provisioned) VALUES (?, ?, ?, ?, ?, ?, ?, ?)",
              tracker.serial, DemoAccount, tracker.name, tracker.compeId, tracker.firmware,
              tracker.imsi, tracker.extended ? 1 : 0, tracker.imsi[0] == '\0' ? 0 : 1)
        .exec();
    for (const int group : tracker.groups) {
        if (group != 0) {
            statement(database, "INSERT INTO group_member (group_id, serial) VALUES (?, ?)", group,
                      tracker.serial)
                .exec();
        }
    }
    for (const Period &period : tracker.periods) {
        if (period.days != 0) {
            const Day first = today + period.start;
            statement(database,
                      "INSERT INTO activation (serial, first_day, last_day, cost_cents)"
                      " VALUES (?, ?, ?, ?)",
                      tracker.serial, dayText(first), dayText(first + period.days - 1),
                      priceOf(tracker.extended, period.days))
                .exec();
        }
    }
}
} // namespace

void seed(Database &database, Day today)
{
    addAccount(database);
    for (const Group &group : Groups) {
        statement(database, "INSERT INTO tracker_group (id, account_id, name) VALUES (?, ?, ?)",
                  group.id, DemoAccount, group.name)
            .exec();
    }
    for (const Tracker &tracker : Trackers)
        addTracker(database, tracker, today);
}
