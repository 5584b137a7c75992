// Graph documents from memory, read, sampled and saved; changed as documents, not as bytes, most of the time.

#include "testing/document_mutation.h"
#include "testing/document_use.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t most);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const zrktest::DocumentTrial trial(zrktest::sourceFolder() / "fuzz" / "fixtures" / "case.zrk.json",
                                              std::chrono::milliseconds(300), 512e6);
    const std::string text(reinterpret_cast<const char*>(data), size);
    const zrktest::DocumentUse use = trial(text);
    if (!use.wrong.empty()) {
        std::fprintf(stderr, "%s\n", use.wrong.c_str());
        std::abort();
    }
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most,
                                               unsigned seed)
{
    static zrktest::DocumentMutation mutation(zrktest::smallExamples());
    if (seed % 8 == 0) {
        return LLVMFuzzerMutate(data, size, most);
    }
    const std::string text = mutation.changed(std::string(reinterpret_cast<const char*>(data), size), seed);
    if (text.size() > most) {
        return LLVMFuzzerMutate(data, size, most);
    }
    std::memcpy(data, text.data(), text.size());
    return text.size();
}
