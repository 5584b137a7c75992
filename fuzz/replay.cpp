// Runs a fuzz target on files, without libFuzzer: for memcheck, and for a debugger.
//     png_reader_replay fuzz/corpus/png_reader/*

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// For targets with a mutation of their own, which isn't run here.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t*, std::size_t size, std::size_t) { return size; }

int main(int count, char** names)
{
    for (int i = 1; i < count; ++i) {
        std::ifstream file(names[i], std::ios::binary);
        if (!file) {
            std::fprintf(stderr, "%s: can't be read\n", names[i]);
            return 1;
        }
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        // A copy of just that length, so that reads beyond it are seen.
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
    return count > 1 ? 0 : 1;
}
