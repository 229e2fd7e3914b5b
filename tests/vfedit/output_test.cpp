// What fails at the end of the way of vfedit's result is told, whichever way that is.
#include "examples/vfedit_output.h"

#include "support/faults.h"
#include "support/test.h"

namespace {

std::set<std::string> Outcomes(const char* name, bool inPlace, Faults::Kind kind, int error) {
    return ForEachFault(kind, error, [=](const Arm& arm) -> std::string {
        const TempDir dir;
        const std::string at = *name == '/' ? name : dir.Write(name, "old");
        CommandLine line;
        line.inPlace = inPlace;
        Output output;
        Progress progress(false);
        VFile content("new");
        bool done = false;
        if (!std::freopen("/dev/null", "w", stderr)) return "no quiet";
        arm([&] { done = output.Open(at.c_str(), line) && output.Save(content, progress); });
        if (*name != '/' && dir.Read(name) != "new" && (done || dir.Read(name) != "old")) return "wrong content";
        return done ? "done" : "told";
    });
}

TEST(Output, TellsOfAFailureAtTheEnd) {
    using Set = std::set<std::string>;
    const Set either = {"done", "told"}, told = {"told"}, none = {};
    // What comes of it where one call of close fails, and one of fsync.
    const std::tuple<const char*, bool, Set, Set> rows[] = {
        {"file", false, either, either}, {"file", true, either, told}, {"/dev/null", false, told, none}};
    for (const auto& [name, inPlace, closed, flushed] : rows) {
        EXPECT_EQ(closed, Outcomes(name, inPlace, Faults::Close, EIO)) << name;
        EXPECT_EQ(flushed, Outcomes(name, inPlace, Faults::Flush, EIO)) << name;
        EXPECT_EQ(Set{"done"}, Outcomes(name, inPlace, Faults::Close, EINTR)) << name;
        EXPECT_EQ(told, Outcomes(name, inPlace, Faults::Write, ENOSPC)) << name;
    }
}

} // namespace
