// Runs a target on inputs that are there already, each once: every file of the folders that are
// named. So what fuzzing found stays a test where there is no libFuzzer.

#include "target.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace {
std::vector<std::filesystem::path> filesOf(int iCount, char **pFolders)
{
    std::vector<std::filesystem::path> files;
    for (int i = 0; i < iCount; ++i) {
        for (const auto &entry : std::filesystem::directory_iterator(pFolders[i])) {
            if (entry.is_regular_file())
                files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

void replay(const std::filesystem::path &path)
{
    // Before the run: of a crash this line is all that is known.
    std::printf("%s\n", path.c_str());
    std::fflush(stdout);
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> content{std::istreambuf_iterator<char>(file), {}};
    if (!file)
        throw std::filesystem::filesystem_error("cannot be read", path, std::error_code());
    // A copy of exactly its size, so that the sanitizers see a read behind the end.
    const std::vector<std::uint8_t> data(content.begin(), content.end());
    LLVMFuzzerTestOneInput(data.data(), data.size());
}
} // namespace

int main(int argc, char *argv[])
{
    try {
        LLVMFuzzerInitialize(&argc, &argv);
        const std::vector<std::filesystem::path> files = filesOf(argc - 1, argv + 1);
        for (const std::filesystem::path &file : files)
            replay(file);
        endTarget();
        std::printf("%zu inputs\n", files.size());
        return files.empty() ? 1 : 0;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
