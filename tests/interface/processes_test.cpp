// How processes end, with objects and threads still there, and what a fork leaves to the child.
#include "support/vfile_support.h"
#include "vmem/vmem.h"

namespace {

void Work() {
    for (;;) {
        VFile f('x', 5000);
        std::thread([] { VFile own("younger"); }).join();
        f.ReplaceGlobal("xx", "y", false, false);
    }
}

TEST(Exit, OtherThreadsGoOnAndLiveObjectsOfTheCallingOneHalt) {
    const auto ends = testing::ExitedWithCode(0);
    EXPECT_EXIT(EndSlowly(); std::thread(Work).detach(); std::exit(0), ends, "");
    EXPECT_EXIT(EndSlowly(); std::thread(Work).detach(); usleep(5000); std::exit(0), ends, "");
    EXPECT_EXIT(EndSlowly(); std::thread([] { usleep(5000), std::exit(0); }).detach(); Work(), ends, "");
    EXPECT_EXIT(new VFile; std::quick_exit(0), ends, "");
    EXPECT_EXIT(new VFile; std::exit(0), testing::KilledBySignal(SIGABRT), "VFile, line [0-9]+:\nAssertion failure");
}

TEST(Fork, ChildKeepsTheSettingsAndGivesUpCopiesWithoutTouchingTheirFiles) {
    const TempDir dir;
    VFile::SetMaxCacheSize(2);
    VFile::SetTempDir(dir.Path().c_str());
    const auto settingsKept = [&] { return VFile::GetMaxCacheSize() == 2 && VFile::GetTempDir() == dir.Path(); };
    EXPECT_EQ("1", InChild([&] { return std::to_string(settingsKept()); })); // without a VMem

    const std::string content = Pattern(20000);
    auto *f = new VFile(content.c_str()), *g = new VFile("another");
    auto* vm = new VMem;
    std::int32_t adr[3];
    vm->SetMaxCacheSize(1);
    for (std::int32_t& a : adr) vm->AllocPage(a), vm->Set(a, 'v');
    const auto giveUp = [&] {
        closefrom(3); // as daemons do; then their own files come
        const int own = open("/dev/null", O_RDONLY);
        int last = own;
        while (last < 20) last = dup(own);
        delete f, delete vm, delete g;
        while (last >= own && fcntl(last, F_GETFD) >= 0) --last;
        if (!settingsKept() || last >= own || ContentOf(VFile("own")) != "own") _exit(1);
        std::exit(0);
    };
    EXPECT_EXIT(giveUp(), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(if (fork() == 0) giveUp(); int status; wait(&status); _exit(status), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(std::thread([&] { delete f, delete vm, std::exit(0); }).join(), testing::ExitedWithCode(0), "");
    EXPECT_ASSERT_HALT("VFile", f->Append("no"));
    EXPECT_ASSERT_HALT("VMem", vm->ReleaseCache());
    char v = 0;
    vm->Get(adr[0], v);
    EXPECT_TRUE(v == 'v' && ContentOf(*f) == content && *g == "another");
    delete vm, delete f, delete g;
}

} // namespace
