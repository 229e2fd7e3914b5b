// System errors as they really come up, in the numbering of the table of results.
#include "platform/swap_file.h"
#include "tests/platform/platform_test.h"

#include <sys/resource.h>
#include <tuple>
#include <vector>

namespace {

TEST(Errors, RefusedOpensTellWhy) {
    const TempDir dir;
    const std::string in = dir.Path() + "/";
    dir.Write("file", "x");
    ASSERT_EQ(0, symlink("nowhere", dir.File("dangling").c_str()));
    ASSERT_EQ(0, symlink("loop", dir.File("loop").c_str()));
    ASSERT_EQ(0, mknod(dir.File("socket").c_str(), S_IFSOCK | 0600, 0));
    const auto existing = Disposition::OpenExisting, fresh = Disposition::CreateNew, any = Disposition::CreateAlways;
    const std::tuple<std::uint32_t, Disposition, std::vector<std::string>> rows[] = {
        {2, existing, {in + "missing", in + "missing//", in + "dangling", "vfile-test-missing"}},
        {3, existing, {in + "no/missing", dir.Path() + "\\no\\missing", in + "file/missing", ""}},
        {5, existing, {dir.Path(), in}},
        {32, existing, {"/proc/self/exe"}}, // being run
        {55, existing, {in + "socket"}},
        {123, existing, {std::string(5000, 'n')}},
        {161, existing, {in + "loop"}},
        {3, fresh, {in + "no/missing"}},
        {80, fresh, {in + "file", in + "dangling", dir.Path()}},
        {123, fresh, {in + std::string(300, 'n')}},
        {3, any, {in + "no/such/missing"}},
        {5, any, {in}}};
    for (const auto& [error, disposition, names] : rows) {
        for (const std::string& name : names) {
            SetLastError(0);
            EXPECT_EQ(InvalidHandle, OpenAs(name, disposition)) << name;
            EXPECT_EQ(error, GetLastError()) << name;
        }
    }
    EXPECT_EQ(5U, ErrorOf([&] { EXPECT_EQ(InvalidHandle, OpenAs(dir.Path(), existing, Access::Read)); }));
    EXPECT_EQ(87U, ErrorOf([] { OpenSwapFile(nullptr); }));
    EXPECT_EQ(4U, dir.Count());
}

TEST(Errors, MissingRightsAndDescriptorsAreTold) {
    const TempDir dir;
    const std::string name = dir.Write("file", "x");
    chmod(dir.Path().c_str(), 0755);
    chmod(name.c_str(), 0444);
    const auto opened = [&](Access access) {
        return std::to_string(ErrorOf([&] { OpenAs(name, Disposition::OpenExisting, access); })) + " ";
    };
    EXPECT_EQ("5 0 4 ", InChild([&] {
                  if (geteuid() == 0 && seteuid(65534) != 0) _exit(1);
                  const std::string byRights = opened(Access::ReadWrite) + opened(Access::Read);
                  const rlimit none{3, 3};
                  setrlimit(RLIMIT_NOFILE, &none);
                  return byRights + opened(Access::Read);
              }));
}

TEST(Errors, HandlesThatCantDoItTellWhy) {
    const TempDir dir;
    const FileHandle readOnly = OpenAs(dir.Write("r", "abc"), Disposition::OpenExisting, Access::Read);
    const FileHandle writeOnly = OpenAs(dir.File("w"), Disposition::CreateNew, Access::Write);
    const FileHandle full = OpenAs("/dev/full");
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    const FileHandle pipeEnd = HandleOf(ends[0]);
    const FileHandle closed = OpenAs(dir.File("closed"), Disposition::CreateNew);
    CloseFile(closed); // behind the others, so that its descriptor stays unused
    using Act = std::function<bool(FileHandle)>;
    char b = 0;
    const Act read = [&b](FileHandle h) { return ReadFile(h, &b, 1) != -1; };
    const Act write = [&b](FileHandle h) { return WriteFile(h, &b, 1) != -1; };
    const Act seek = [](FileHandle h) { return SeekFile(h, 0, Origin::Begin) != -1; };
    const Act seekBelow = [](FileHandle h) { return SeekFile(h, -1, Origin::Begin) != -1; };
    const Act size = [](FileHandle h) { return FileSize(h) != -1; };
    const std::tuple<FileHandle, std::uint32_t, std::vector<Act>> rows[] = {
        {closed, 6, {read, write, seek, size, SetEndOfFile, FlushFile, CloseFile}},
        {InvalidHandle, 6, {read, CloseFile}},
        {readOnly, 5, {write, SetEndOfFile}},
        {writeOnly, 5, {read}},
        {full, 112, {write}},
        {readOnly, 87, {seekBelow}},
        {pipeEnd, 50, {seek, SetEndOfFile}}};
    for (const auto& [h, error, acts] : rows) {
        for (const Act& act : acts) {
            SetLastError(0);
            EXPECT_FALSE(act(h));
            EXPECT_EQ(error, GetLastError());
        }
    }
    EXPECT_EQ(0U, ErrorOf([&] { EXPECT_TRUE(FlushFile(pipeEnd) && FileSize(pipeEnd) == 0); }));
    for (const FileHandle h : {readOnly, writeOnly, full, pipeEnd, HandleOf(ends[1])}) CloseFile(h);
}

} // namespace
