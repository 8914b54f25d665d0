/// Start to first paint, and memory at its peak, of the update tool and of a bare Qt program. Each run is a new
/// process, measured by what the kernel says it has used; this one stays small, because a child's peak starts at
/// what its parent held.
#include "bench/measure.h"

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

namespace fs = std::filesystem;

constexpr double image_mib = 2;
constexpr int rounds = 40;

struct Use
{
    double seconds = 1e9; ///< CPU time: a start waits for nothing
    double mib = 1e9;     ///< memory at its peak
};

double seconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

/// Runs a program to its end, which it reaches by itself, and lowers `least` to what it has used.
void run(const fs::path& folder, const std::string& name, Use* least)
{
    std::string path = folder / name;
    char* arguments[] = {path.data(), nullptr};
    pid_t child = 0;
    int status = 0;
    rusage used{};
    if (posix_spawn(&child, path.c_str(), nullptr, nullptr, arguments, environ) != 0 ||
        wait4(child, &status, 0, &used) != child || status != 0)
        std::abort();
    least->seconds = std::min(least->seconds, seconds(used.ru_utime) + seconds(used.ru_stime));
    least->mib = std::min(least->mib, static_cast<double>(used.ru_maxrss) / 1024); // Linux counts in KiB
}

/// A hub image newer than what the answering hub runs, and far longer than any hub's, so that every copy shows.
void writeResources(const fs::path& folder)
{
    fs::create_directories(folder);
    std::string image(static_cast<std::size_t>(image_mib * 1024 * 1024), '\x5A');
    image[0x7EF9] = 9;
    std::ofstream(folder / "hub.bin", std::ios::binary) << image;
    std::ofstream(folder / "Config.ini") << "[FWFilePath]\nHubBinFile=hub.bin\n";
}

} // namespace

int main(int /*argc*/, char** argv)
{
    const fs::path bundle = fs::absolute(argv[0]).parent_path() / "start";
    writeResources(bundle / "Resources");
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    Use product;
    Use bare;
    Use form;
    Use writing;
    for (int i = 0; i < rounds; ++i) {
        run(bundle / "bin", "start_product", &product);
        run(bundle / "bin", "start_bare", &bare);
        run(bundle / "bin", "start_form", &form);
        run(bundle / "bin", "start_writing", &writing);
    }
    bench::row("start to first paint / a bare Qt dialog with as many widgets", product.seconds / bare.seconds,
               1.15, "the rest is the form's look, see the next row");
    bench::row("start to first paint / the dialog's form alone", product.seconds / form.seconds, 1.15);
    bench::row("peak memory more than the bare dialog's, MiB", product.mib - bare.mib, 4);
    // The hub of that program keeps what is written to it in the same memory: one image that is not the tool's.
    bench::row("the same while an image of 2 MiB is written, MiB", writing.mib - image_mib - bare.mib,
               4 + 2 * image_mib);
    return bench::exitStatus();
}
