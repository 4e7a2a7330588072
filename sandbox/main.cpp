// Process start of the sandbox: options, certificates, port, database, and waiting for the end.

#include "certificates.h"
#include "database.h"
#include "endpoints.h"
#include "failures.h"
#include "filelock.h"
#include "options.h"
#include "privacy.h"
#include "seed.h"
#include "server.h"

#include <csignal>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <utility>

namespace {
constexpr int CouldNotRun = 1;
constexpr int WrongCommandLine = 2;

/// The signals that end the program, kept from every thread so that only waitForEnd() sees them.
sigset_t blockEndSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

void waitForEnd(const sigset_t &signals)
{
    int signal = 0;
    sigwait(&signals, &signal);
}

void makeDataFolder(const Options &options)
{
    const std::string &folder = options.dataFolder;
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
        throw std::runtime_error("The folder " + folder + " cannot be made: " + error.message() +
                                 ".");
    }
    // A folder that the user chose may hold other things for other people, and so may one that the
    // user put in the place of ours.
    if (options.folderIsOurs && !std::filesystem::is_symlink(folder))
        keepFromOthers(folder);
}

/// The folder's files are one running sandbox's; --make-ca only adds to them.
FileLock takeDataFolder(const std::string &folder)
{
    // A name that no database's lock can have: theirs end in the same way, but begin with a file's.
    FileLock lock(folder + "/.lock");
    if (!lock.take(FileLock::Exclusive)) {
        throw std::runtime_error("The folder " + folder +
                                 " is in use by another sandbox; stop that one or choose another "
                                 "folder with --data-dir.");
    }
    return lock;
}

void makeAuthority(const Options &options)
{
    makeDataFolder(options);
    const CertificatePaths certificates = certificatePaths(options.dataFolder);
    ensureCertificates(certificates);
    std::cout << certificates.authority << std::endl;
}

void run(const Options &options)
{
    makeDataFolder(options);
    const FileLock lock = takeDataFolder(options.dataFolder);
    const CertificatePaths certificates = certificatePaths(options.dataFolder);
    ensureCertificates(certificates);

    const sigset_t signals = blockEndSignals();
    // The port first: a reset that cannot be followed by a start would only destroy.
    HttpsServer server(certificates, options.port);
    const Day today = options.today.value_or(currentDay());
    LockedDatabase data = openDatabase(options.database, options.reset, today);
    Service service(std::move(data.database), options.today, options.sessionLifetime);
    Failures failures(options.failures);
    server.start(service, failures);
    std::cout << "CA certificate: " << certificates.authority << '\n'
              << "database: " << options.database << '\n'
              << "log in as: " << DemoEmail << " with password: " << DemoPassword << '\n';
    for (const Failure &failure : options.failures)
        std::cout << announcement(failure) << '\n';
    std::cout << "listening on https://localhost:" << server.port() << std::endl;
    waitForEnd(signals);
    server.stop();
    std::cout << "stopped" << std::endl;
}
} // namespace

int main(int argc, char *argv[])
{
    try {
        const Options options = optionsFrom(std::vector<std::string>(argv + 1, argv + argc));
        if (options.help) {
            std::cout << helpText();
            return 0;
        }
        makePrivateFiles();
        if (options.makeAuthorityOnly)
            makeAuthority(options);
        else
            run(options);
        return 0;
    } catch (const UsageError &error) {
        std::cerr << "veltrano-sandbox: " << error.what() << std::endl;
        return WrongCommandLine;
    } catch (const std::exception &error) {
        std::cerr << "veltrano-sandbox: " << error.what() << std::endl;
        return CouldNotRun;
    }
}
