// Rights on files and folders.

#include "privacy.h"

#include "log.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {
constexpr mode_t Others = S_IRWXG | S_IRWXO;
} // namespace

void makePrivateFiles()
{
    umask(Others);
}

void keepFromOthers(const std::string &path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0 || status.st_uid != geteuid() ||
        (status.st_mode & Others) == 0)
        return;
    // A file system without rights, such as a memory stick's, is no reason to refuse the service.
    if (chmod(path.c_str(), status.st_mode & S_IRWXU) == 0)
        logLine("now for its owner only: " + path);
    else
        logLine("open to other users: " + path + ": " + std::strerror(errno));
}
