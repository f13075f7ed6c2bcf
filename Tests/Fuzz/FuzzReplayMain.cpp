// Replays fuzz inputs once, for builds without libFuzzer: each argument is a file or a folder of
// files. Any failure aborts inside the target, as it would under the fuzzer.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace
{
void replay(const std::filesystem::path& file, int& count)
{
    std::ifstream in(file, std::ios::binary);
    std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    // An exact-size heap copy, so that a sanitizer sees any read beyond the input.
    std::vector<uint8_t> exact(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(exact.empty() ? nullptr : exact.data(), exact.size());
    ++count;
}
} // namespace

int main(int argc, char** argv)
{
    int count = 0;
    for (int i = 1; i < argc; ++i)
    {
        const std::filesystem::path path(argv[i]);
        if (std::filesystem::is_directory(path))
        {
            for (const auto& entry : std::filesystem::directory_iterator(path))
                if (entry.is_regular_file())
                    replay(entry.path(), count);
        }
        else
            replay(path, count);
    }
    std::printf("replayed %d inputs\n", count);
    return count > 0 ? 0 : 1;
}
