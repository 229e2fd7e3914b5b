// Views, and what stands above them for the standard library, where the random walks don't get.
#include "support/vfile_support.h"
#include "vfile/vfile_std.h"

namespace {

// The lengths of the runs that a visit gives, the last one that the visitor takes in brackets.
std::string Runs(VFileView v, bool back, int from, int count, int most = 100) {
    std::string runs;
    const auto visit = [&](const unsigned char*, std::int32_t n) {
        runs += (runs.empty() ? "" : " ") + (--most > 0 ? std::to_string(n) : "[" + std::to_string(n) + "]");
        return most > 0;
    };
    const bool all = back ? v.VisitBack(from, count, visit) : v.Visit(from, count, visit);
    EXPECT_EQ(resDone, v.res);
    return runs + (all ? "" : " stopped");
}

TEST(View, GivesWholeBlocksUnlessAReadIsOverridden) {
    Watched plain;
    CallRecorder calls;
    for (VFile* f : {static_cast<VFile*>(&plain), static_cast<VFile*>(&calls)}) {
        Put(*f, 0, 0, Pattern(2500));
        f->SetPos(7), f->res = resNotDone, f->eof = true;
    }
    const struct {
        bool back;
        int from, count, most;
        const char *runs, *seen;
    } rows[] = {
        {false, 0, MaxLen, 100, "1024 1024 452", nullptr},
        {true, 0, MaxLen, 100, "452 1024 1024", nullptr},
        {false, 1000, 1050, 100, "24 1024 2", nullptr},
        {true, 1000, 1050, 2, "2 [1024] stopped", nullptr},
        {false, 2600, 5, 100, "", ""},
        {false, 1023, 2, 100, "1 1", "SetPos 1023; next; next; "},
        {true, 1023, 2, 1, "[1] stopped", "SetPos 1025; prev; "},
    };
    for (const auto& row : rows) {
        const std::string ofBlocks = Runs(static_cast<const VFile&>(calls), row.back, row.from, row.count, row.most);
        EXPECT_EQ(row.runs, Runs(plain, row.back, row.from, row.count, row.most));
        EXPECT_EQ(row.runs, ofBlocks);
        calls.seen.clear();
        if (row.seen) {
            EXPECT_EQ(row.runs, Runs(calls, row.back, row.from, row.count, row.most));
            EXPECT_EQ(row.seen, calls.seen);
        }
        for (const VFile* f : {static_cast<VFile*>(&plain), static_cast<VFile*>(&calls)})
            EXPECT_TRUE(f->GetPos() == 7 && f->res == resNotDone && f->eof && CheckVFile(*f, stderr));
    }
}

// Under a cache of one page, and of a few: the visitor pushes out what it looks at, in every way it has.
TEST(View, BytesStayWhileTheVisitorWorks) {
    for (const std::int16_t kb : std::initializer_list<std::int16_t>{0, 3, 8}) {
        VFile::SetMaxCacheSize(kb);
        VFile f, copy;
        Put(f, 0, 0, Pattern(9000));
        std::string seen;
        EXPECT_TRUE(VFileView(f).Visit(0, MaxLen, [&](const unsigned char* bytes, std::int32_t n) {
            VFile::SetMaxCacheSize(static_cast<std::int16_t>(seen.size() % 3));
            copy.AppendBytes(bytes, n);
            EXPECT_EQ("808 1024 1024 1024 1024 1024 1024 1024 1024", Runs(f, true, 0, MaxLen));
            unsigned char b;
            f.SetPos(0), f.ReadByte(b);
            if (seen.size() % 2048 == 0) VFile::ReleaseMemory();
            VFile::SetMaxCacheSize(kb);
            seen.append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(n));
            return true;
        }));
        EXPECT_TRUE(seen == Pattern(9000) && copy == f && VFile::GetCacheSize() <= std::max<int>(kb, 1));
        const auto fails = [](const unsigned char*, std::int32_t) -> bool { throw 1; };
        EXPECT_THROW(VFileView(f).Visit(0, MaxLen, fails), int);
        EXPECT_TRUE(CheckVFile(f, stderr) && CheckVFile(copy, stderr) && ContentOf(f) == seen);
    }
    VFile::SetMaxCacheSize(4000);
}

TEST(View, TellsWhatItRefuses) {
    VFile f, other;
    f.AppendBytes("a\0b\0a\0B", 7);
    char c[8];
    bool elsewhere = false;
    std::thread([&] { elsewhere = VFileView(f).Find("a", 1) == -1 && VFileView(f).Read(0, c, 7) == 0; }).join();
    EXPECT_TRUE(elsewhere);
    const struct {
        int wanted;
        Res res;
        std::function<int(VFileView&)> act;
    } rows[] = {
        {3, resDone, [](VFileView& v) { return v.Find("\0a", 2); }},
        {5, resDone, [](VFileView& v) { return v.FindBack("\0b", 2, 0, MaxLen, true); }},
        {1, resDone, [](VFileView& v) { return v.FindBack("\0b", 2, 0, 6, true); }},
        {-1, resDone, [](VFileView& v) { return v.Find("\0a", 2, 4); }},
        {7, resDone, [](VFileView& v) { return v.Find("", 0, 9); }},
        {5, resDone, [](VFileView& v) { return v.FindBack(nullptr, 0, 2, 5); }},
        {-1, resCallError, [](VFileView& v) { return v.Find(nullptr, 1); }},
        {-1, resCallError, [](VFileView& v) { return v.FindBack("a", 1, -1); }},
        {-1, resDone, [](VFileView& v) { return v.Compare(0, 3, "a\0c", 3); }},
        {1, resDone, [](VFileView& v) { return v.Compare(2, MaxLen, v, 2, 4); }},
        {1, resDone, [&](VFileView& v) { return v.Compare(2, 2, other, 9, 9); }},
        {0, resCallError, [](VFileView& v) { return v.Compare(0, 3, v, 0, -1); }},
        {2, resDone, [&](VFileView& v) { return v.Read(5, c, MaxLen); }},
        {0, resCallError, [](VFileView& v) { return v.Read(5, nullptr, 1); }},
        {0, resCallError, [](VFileView& v) { return v.Visit(0, 1, nullptr, nullptr); }},
        {0, resContextError,
         [&](VFileView& v) {
             return v.Visit(0, 2, [&](const unsigned char*, std::int32_t) { return f.Insert("z"), true; });
         }},
        {0, resContextError,
         [&](VFileView&) {
             auto goes = std::make_unique<VFile>("bytes");
             VFileView v(*goes);
             return v.Visit(0, 5, [&](const unsigned char*, std::int32_t) { return goes.reset(), true; }) + v.res -
                    resContextError;
         }},
    };
    for (const auto& row : rows) {
        VFileView v(f);
        EXPECT_EQ(row.wanted, row.act(v)) << &row - rows;
        EXPECT_TRUE(&row == std::end(rows) - 1 || row.res == v.res) << &row - rows;
    }
}

// Against a file of the system, with all that the two share.
TEST(StreamBuf, DoesAsAFileDoes) {
    const TempDir dir;
    std::fstream model(dir.Write("model", ""), std::ios::in | std::ios::out | std::ios::binary);
    VFile f;
    vfile::StreamBuf buffer(f);
    std::iostream stream(&buffer);
    std::mt19937 rng(1);
    const auto below = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    for (int step = 0; step < 3000; ++step) {
        const int kind = below(6), n = below(4) ? below(40) : below(4000), at = below(f.Length() + 1);
        const std::string run = Pattern(f.Length() < 20000 ? n : n % 40, below(26));
        std::vector<std::string> got;
        for (std::iostream* s : {static_cast<std::iostream*>(&model), &stream}) {
            std::string in(static_cast<std::size_t>(n), '?');
            if (kind != 5) s->seekg(at);
            if (kind == 5) s->seekg(-std::min(n, static_cast<int>(s->tellg())), std::ios::cur);
            if (kind < 2) *s << run << step;
            if (kind == 2) s->read(in.data(), n), in += "/" + std::to_string(s->gcount());
            if (kind == 3) std::getline(*s, in, 'k'), s->peek(), s->putback('k');
            if (kind == 4) in = std::to_string(s->get()), s->seekg(0, std::ios::cur), s->unget();
            if (kind == 5) s->seekp(0, std::ios::end);
            got.push_back(in + (s->good() ? " " : " failed ") + std::to_string(s->tellg()));
            s->clear();
        }
        ASSERT_EQ(got[0], got[1]) << step << " kind " << kind;
        ASSERT_TRUE(step % 100 < 99 || (stream.flush() && model.flush() && dir.Read("model") == ContentOf(f)));
    }
}

TEST(StreamBuf, OpensAndFailsAsTold) {
    VFile f("0123456789");
    {
        vfile::StreamBuf end(f, std::ios::out | std::ios::app), ahead(f, std::ios::in | std::ios::ate);
        std::ostream(&end).seekp(2) << "abc" << std::string(1100, 'x');
        EXPECT_EQ(10, std::istream(&ahead).tellg());
        EXPECT_FALSE(std::ostream(&ahead) << "y");
        EXPECT_FALSE(std::istream(&ahead).seekg(-1) || std::istream(&ahead).seekg(1114));
    }
    EXPECT_EQ("0123456789abcx", vfile::ToString(f, 0, 14));
    EXPECT_EQ(1113, f.Length());
    f.InclFlag(vfInsert);
    vfile::StreamBuf both(f);
    std::iostream stream(&both);
    EXPECT_TRUE(stream.seekp(5) << "--" << std::flush);
    EXPECT_EQ("01234--56", vfile::ToString(f, 0, 9));
    f.InclFlag(vfReadOnly);
    EXPECT_FALSE(stream << "z" << std::flush);
    EXPECT_EQ(resReadOnly, f.res);
}

TEST(Bytes, ServeAlgorithms) {
    VFile f;
    EXPECT_TRUE(vfile::Append(f, "bcd") && vfile::Prepend(f, "ab") && vfile::InsertAt(f, 5, std::string(5000, 'x')));
    f.SetPos(0);
    EXPECT_TRUE(vfile::Insert(f, "A") && vfile::Replace(f, 1, 2, "") && f.Length() == 5004);
    const vfile::Bytes bytes(f);
    EXPECT_EQ(4, std::find(bytes.begin(), bytes.end(), 'x').Position());
    EXPECT_TRUE(std::is_sorted(bytes.begin(), bytes.end()) &&
                *std::lower_bound(bytes.begin(), bytes.end(), 'e') == 'x');
    EXPECT_EQ(5000, std::count(bytes.rbegin(), bytes.rend(), 'x'));
    EXPECT_TRUE(bytes[1] == 'b' && bytes.begin()[5004] == 0 && bytes.begin()[-1] == 0 &&
                1 + bytes.begin() < bytes.end());
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.begin() + 2504, bytes.end() - 2504) ==
                (vfile::Compare(f, 0, 2504, vfile::ToString(f, 2500)) == 0));
    EXPECT_TRUE(vfile::Compare(f, "Abcd") == 1 && vfile::Find(f, "xx", 100, 102) == 100);
    EXPECT_EQ(5002, vfile::FindBack(f, "XX", 0, MaxLen, true));
}

} // namespace
