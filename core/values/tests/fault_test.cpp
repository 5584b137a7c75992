#include "core/values/fault.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <new>
#include <stdexcept>

namespace zrk {
namespace {

TEST(Printable, ShowsWhatATerminalWouldObeyAndCutsWhatIsLong)
{
    struct Case {
        const char* name;
        std::string text;
        std::string shown;
        std::size_t most = std::string::npos;
    };
    const Case cases[] = {
        {"plain", "a b\\n\"~", "a b\\n\"~"},
        {"control characters", std::string("a\0b\x1b[31m\n\r\t\x7f", 12), "a\\x00b\\x1b[31m\\n\\r\\t\\x7f"},
        {"letters of two to four bytes", "é€𝄞", "é€𝄞"},
        {"control characters of two bytes", "\xc2\x9b[31m\xc2\xa0", "\\xc2\\x9b[31m\xc2\xa0"},
        {"marks that turn or break the text around them",
         "\xe2\x80\xae.gpj\xe2\x80\xa8\xe2\x81\xa6\xef\xbb\xbf",
         "\\xe2\\x80\\xae.gpj\\xe2\\x80\\xa8\\xe2\\x81\\xa6\\xef\\xbb\\xbf"},
        {"letters beside these marks", "‐–—…‾⁂⁰", "‐–—…‾⁂⁰"},
        {"bytes that are no letters", "\x9b\xff\xc0\x80", "\\x9b\\xff\\xc0\\x80"},
        {"a letter that breaks off", "a\xe2\x82", "a\\xe2\\x82"},
        {"a letter broken by another", "\xe2\x82z", "\\xe2\\x82z"},
        {"just not cut", "0123456789", "0123456789", 10},
        {"cut", "01234567890", "0123456789...", 10},
        {"cut behind a whole letter", "012345678€0", "012345678€...", 10},
        {"cut behind a whole form", "012345678\n0", "012345678\\n...", 10},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(printable(c.text, c.most), c.shown) << c.name;
    }
    EXPECT_EQ(quotation(std::string(70, 'x')), '"' + std::string(60, 'x') + "...\"");
}

TEST(FaultMessage, HasTwoLinesWhateverItsPartsHold)
{
    const Fault fault{"a\nb.obj, line 3", "\"x\ny\"", "a word", "mend it"};
    EXPECT_EQ(messageOf(within("c.zrk.json", fault)),
              "c.zrk.json, a\\nb.obj, line 3: found \"x\\ny\", expected a word\n  remedy: mend it");
}

TEST(Attempt, TurnsExceptionsIntoFaults)
{
    const auto faultFrom = [](const auto& work) { return attempt("a.obj", work).error(); };
    const auto carried = faultFrom([] {
        return valueOrThrow<int>(refused({"b.obj", "x", "y", "z", FaultKind::Interrupted}));
    });
    EXPECT_EQ(messageOf(carried), "b.obj: found x, expected y\n  remedy: z");
    EXPECT_EQ(carried.kind, FaultKind::Interrupted);

    const Fault tooLarge[] = {faultFrom([] { throw std::bad_alloc(); }),
                              faultFrom([] { throw std::length_error("vector"); })};
    for (const Fault& fault : tooLarge) {
        EXPECT_EQ(fault.place, "a.obj");
        EXPECT_NE(fault.found.find("memory"), std::string::npos);
        EXPECT_EQ(fault.kind, FaultKind::FailedWork);
    }
    const auto files = faultFrom([] { return std::filesystem::file_size("/nowhere/x"); });
    EXPECT_EQ(files.place, "/nowhere/x");
    EXPECT_NE(files.found.find("No such file"), std::string::npos);
    const auto other = faultFrom([] { throw std::runtime_error("tilt"); });
    EXPECT_EQ(other.place, "a.obj");
    EXPECT_NE(other.found.find("tilt"), std::string::npos);
}

TEST(Attempt, GivesWhatTheWorkGives)
{
    EXPECT_EQ(attempt("a", [] { return 3; }).value(), 3);
    EXPECT_EQ(attempt("a", [] { return Result<int>(4); }).value(), 4);
    EXPECT_TRUE(attempt("a", [] {}));
    EXPECT_FALSE(attempt("a", []() -> Result<void> { return refused(interruptedAt("b")); }));
}

} // namespace
} // namespace zrk
