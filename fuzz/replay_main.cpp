// Runs a fuzz target once on each file of the directories or files given, so
// that kept inputs replay in every build, sanitizers included, without
// libFuzzer. A target reports a fault by crashing or aborting.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {
int Replay(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "cannot read %s\n", file.c_str());
        return 1;
    }
    const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    // An empty vector's data() may be null; the fuzzer always passes a valid pointer.
    const uint8_t empty = 0;
    LLVMFuzzerTestOneInput(bytes.empty() ? &empty : bytes.data(), bytes.size());
    return 0;
}
}  // namespace

int main(int argc, char** argv) {
    int failures = 0, count = 0;
    for (int i = 1; i < argc; ++i) {
        const std::filesystem::path arg(argv[i]);
        if (!std::filesystem::is_directory(arg)) {
            failures += Replay(arg);
            ++count;
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(arg))
            if (entry.is_regular_file()) {
                failures += Replay(entry.path());
                ++count;
            }
    }
    std::printf("replayed %d inputs\n", count);
    return failures ? 1 : 0;
}
