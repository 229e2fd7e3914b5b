// System errors as they really come up, in the numbering of the table of results.
#include "platform/swap_file.h"
#include "tests/platform/platform_test.h"

#include <map>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <vector>

namespace {

TEST(Errors, RefusedOpensTellWhy) {
    const TempDir dir;
    dir.Write("file", "x");
    ASSERT_EQ(0, symlink("nowhere", dir.File("dangling").c_str()));
    ASSERT_EQ(0, symlink("loop", dir.File("loop").c_str()));
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    dir.File("socket").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(0, bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address));

    const auto in = [&dir](const std::string& name) { return dir.Path() + "/" + name; };
    const auto existing = Disposition::OpenExisting;
    const std::map<std::uint32_t, std::vector<std::string>> refused[] = {
        {{2, {in("missing"), in("missing//"), in("dangling"), "vfile-test-missing"}},
         {3, {in("no/missing"), dir.Path() + "\\no\\missing", in("file/missing"), ""}},
         {5, {dir.Path(), in("")}},
         {32, {"/proc/self/exe"}}, // being run
         {55, {in("socket")}},
         {123, {std::string(5000, 'n')}},
         {161, {in("loop")}}},
        {{3, {in("no/missing")}}, {80, {in("file"), in("dangling"), dir.Path()}}, {123, {in(std::string(300, 'n'))}}},
        {{3, {in("no/such/missing")}}, {5, {in("")}}}};
    const Disposition dispositions[] = {existing, Disposition::CreateNew, Disposition::CreateAlways};
    for (int i = 0; i < 3; ++i) {
        for (const auto& row : refused[i]) {
            for (const std::string& name : row.second) {
                const auto open = [&] { EXPECT_EQ(InvalidHandle, OpenAs(name, dispositions[i])); };
                EXPECT_EQ(row.first, ErrorOf(open)) << name;
            }
        }
    }
    EXPECT_EQ(5U, ErrorOf([&] { EXPECT_EQ(InvalidHandle, OpenAs(dir.Path(), existing, Access::Read)); }));
    EXPECT_EQ(87U, ErrorOf([] { OpenSwapFile(nullptr); }));
    EXPECT_EQ(4U, dir.Count());
    close(listener);
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
    int ends[2], sockets[2];
    ASSERT_EQ(0, pipe(ends) + socketpair(AF_UNIX, SOCK_STREAM, 0, sockets));
    const FileHandle pipeEnd = HandleOf(ends[0]), limited = HandleOf(sockets[0]);
    const timeval limit{0, 1000};
    setsockopt(sockets[0], SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    const FileHandle closed = OpenAs(dir.File("closed"), Disposition::CreateNew);
    CloseFile(closed); // behind the others, so that its descriptor stays unused
    char b = 0;
    const std::pair<std::function<bool()>, std::uint32_t> rows[] = {
        {[&] { return ReadFile(closed, &b, 1) == -1; }, 6},
        {[&] { return WriteFile(closed, &b, 1) == -1; }, 6},
        {[&] { return SeekFile(closed, 0, Origin::Begin) == -1; }, 6},
        {[&] { return FileSize(closed) == -1; }, 6},
        {[&] { return !SetEndOfFile(closed); }, 6},
        {[&] { return !FlushFile(closed); }, 6},
        {[&] { return !CloseFile(closed); }, 6},
        {[&] { return ReadFile(InvalidHandle, &b, 1) == -1; }, 6},
        {[&] { return !CloseFile(InvalidHandle); }, 6},
        {[&] { return WriteFile(readOnly, &b, 1) == -1; }, 5},
        {[&] { return !SetEndOfFile(readOnly); }, 5},
        {[&] { return ReadFile(writeOnly, &b, 1) == -1; }, 5},
        {[&] { return ReadFile(limited, &b, 1) == -1; }, 54},
        {[&] { return WriteFile(full, &b, 1) == -1; }, 112},
        {[&] { return SeekFile(readOnly, -1, Origin::Begin) == -1; }, 87},
        {[&] { return SeekFile(pipeEnd, 0, Origin::Begin) == -1; }, 50},
        {[&] { return !SetEndOfFile(pipeEnd); }, 50},
        {[&] { return FlushFile(pipeEnd) && FileSize(pipeEnd) == 0; }, 0}};
    for (const auto& row : rows) {
        EXPECT_EQ(row.second, ErrorOf([&] { EXPECT_TRUE(row.first()); })) << "row " << &row - rows;
    }
    for (const FileHandle h : {readOnly, writeOnly, full, pipeEnd, limited, HandleOf(ends[1]), HandleOf(sockets[1])})
        CloseFile(h);
}

} // namespace
