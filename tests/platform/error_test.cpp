// System errors as they really come up, in the numbering of the table of results.
#include "platform/swap_file.h"
#include "tests/platform/platform_test.h"

#include <map>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <tuple>
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
    const auto read = [&b](FileHandle h) { return ReadFile(h, &b, 1) == -1; };
    const auto write = [&b](FileHandle h) { return WriteFile(h, &b, 1) == -1; };
    const auto seek = [](FileHandle h) { return SeekFile(h, 0, Origin::Begin) == -1; };
    const auto seekBelow = [](FileHandle h) { return SeekFile(h, -1, Origin::Begin) == -1; };
    const auto size = [](FileHandle h) { return FileSize(h) == -1; };
    const auto end = [](FileHandle h) { return !SetEndOfFile(h); };
    const auto flush = [](FileHandle h) { return !FlushFile(h); };
    const auto close = [](FileHandle h) { return !CloseFile(h); };
    const auto fine = [](FileHandle h) { return FlushFile(h) && FileSize(h) == 0; };
    const std::tuple<FileHandle, std::function<bool(FileHandle)>, std::uint32_t> rows[] = {
        {closed, read, 6},         {closed, write, 6},        {closed, seek, 6},   {closed, size, 6},
        {closed, end, 6},          {closed, flush, 6},        {closed, close, 6},  {InvalidHandle, read, 6},
        {InvalidHandle, close, 6}, {readOnly, write, 5},      {readOnly, end, 5},  {writeOnly, read, 5},
        {full, write, 112},        {readOnly, seekBelow, 87}, {pipeEnd, seek, 50}, {pipeEnd, end, 50},
        {pipeEnd, fine, 0}};
    for (const auto& [h, act, error] : rows) {
        EXPECT_EQ(error, ErrorOf([&, handle = h, &run = act] { EXPECT_TRUE(run(handle)); }));
    }
    for (const FileHandle h : {readOnly, writeOnly, full, pipeEnd, limited, HandleOf(ends[1]), HandleOf(sockets[1])})
        CloseFile(h);
}

} // namespace
