// The families of edits over their sources, typed reads, numbers, operators and filled objects.
#include "support/vfile_support.h"

#include <charconv>

namespace {

#define EDITS(Name)                                                                                                    \
    [](VFile& f, int source, const VFile& text, HFile& file) {                                                         \
        if (source == 0) f.Name##Byte(0xE9);                                                                           \
        if (source == 1) f.Name##Bytes("a\0b", 3);                                                                     \
        if (source == 2) f.Name##Word(0x4142);                                                                         \
        if (source == 3) f.Name##DWord(0x41424344L);                                                                   \
        if (source == 4) f.Name##QWord(0x4142434445464748ULL);                                                         \
        if (source == 5) f.Name('x', 5);                                                                               \
        if (source == 6) f.Name("text");                                                                               \
        if (source == 7) f.Name(text, 2, 100);                                                                         \
        if (source == 8) f.Name(file.handle, 4);                                                                       \
        if (source == 9) f.Name(file, MaxLen);                                                                         \
    }
void (*const families[])(VFile&, int, const VFile&, HFile&) = {EDITS(Insert), EDITS(Replace), EDITS(Write),
                                                               EDITS(Append), EDITS(Prepend)};

// The bytes that each source brings, the operation, the old length of an overwrite, the arguments after it.
const std::array<std::string, 4> sources[] = {
    {"\xE9", "ReplaceBuf", "1", "1"},       {std::string("a\0b", 3), "ReplaceBuf", "3", "3"},
    {"BA", "ReplaceBuf", "2", "2"},         {"DCBA", "ReplaceBuf", "4", "4"},
    {"HGFEDCBA", "ReplaceBuf", "8", "8"},   {"xxxxx", "ReplaceCh", "5", "5"},
    {"text", "ReplaceBuf", "same", "4"},    {"urce", "ReplaceTxt", "same", "2 100"},
    {"host", "ReplaceHandle", "same", "4"}, {"host file", "ReplaceFile", "same", "max"}};

} // namespace

TEST(VFileEdit, EachFamilyGivesItsPlaceAndOldLengthToTheOperationOfTheSource) {
    const TempDir dir;
    const std::string name = dir.Write("host", "host file");
    const VFile text("source");
    for (int i = 0; i < 5 * 2 * 11 * 10; ++i) {
        const int family = i % 5, pos = i / 5 % 11, source = i / 55 % 10, insert = i / 550;
        SCOPED_TRACE(i);
        HFile file;
        file.Open(name.c_str());
        CallRecorder f("0123456789");
        f.SetFlag(vfInsert, insert), f.SetPos(pos), f.seen.clear();
        families[family](f, source, text, file);

        const auto& [bytes, operation, overwrite, rest] = sources[source];
        const bool over = family == 1 || (family == 2 && !insert);
        const int at = family == 3 ? 10 : family == 4 ? 0 : pos;
        std::string call = operation + " " + std::to_string(at) + " " + (over ? overwrite : "0") + " " + rest + "; ";
        EXPECT_EQ(call, f.seen.substr(0, call.size()));
        const int n = static_cast<int>(bytes.size());
        EXPECT_EQ(Replaced("0123456789", at, over ? n : 0, bytes), ContentOf(f));
        EXPECT_EQ(at + n, f.GetPos());
    }
}

TEST(VFileEdit, DeleteTruncateAndEmptyEditsMoveThePosition) {
    VFile f("0123456789");
    f.Delete(2, 3), f.Delete(100, 5);
    EXPECT_EQ(7, f.GetPos());
    f.SetPos(4);
    f.Truncate(), f.Insert('x', -1);
    f << "x" << 1; // refused: the first failure stands
    EXPECT_TRUE(f.res == resCallError && f.GetPos() == 4 && ContentOf(f) == "0156");
}

TEST(VFileEdit, TypedReadsTakeTheLowByteFirstAndKeepWhatIsNotThere) {
    CallRecorder f("\1\2\3\4\5\6\7\x88\xFF\xFE");
    short word;
    int dword;
    signed char c, prev;
    std::int64_t qword;
    unsigned int part = 0xAABBCCDD;
    f.SetPos(0), f.seen.clear();
    f.ReadWord(word), f.ReadDWord(dword), f.ReadChar(c), f.ReadPrevChar(prev), f >> c;
    EXPECT_EQ("ReadBytes 2; ReadBytes 4; next; prev; next; ", f.seen);
    EXPECT_TRUE(word == 0x0201 && dword == 0x06050403 && c == 7 && prev == 7);
    f.SetPos(0);
    f.ReadQWord(qword), f.ReadDWord(part);
    EXPECT_TRUE(qword == -0x77F8F9FAFBFCFDFF && part == 0xAABBFEFF && f.eof && f.GetPos() == 10);
}

TEST(VFileEdit, ReadFoldsLineEnds) {
    for (const auto& [content, expected] : {std::pair("a\r\nb", "a1\n2b1"), {"\r", "\n1"}, {"\r\r\nx", "\n1\n2x1"}}) {
        VFile f(content);
        f.Reset();
        std::string read;
        char c = 'x';
        while (const std::int32_t n = f.Read(c)) read += f.eof ? "eof" : c + std::to_string(n);
        EXPECT_EQ(expected, read);
        EXPECT_TRUE(c == 0 && f.eof);
    }
}

TEST(VFileEdit, NumbersOfEveryTypeInEveryRadix) {
    for (const int base : {2, 8, 10, 16, 36}) {
        const auto check = [base](auto v, auto shown) { // the bits shown are those of the second's type
            shown = v;
            const std::make_unsigned_t<decltype(shown)> bits = shown;
            char text[80];
            const auto end =
                base == 10 ? std::to_chars(text, text + 80, shown) : std::to_chars(text, text + 80, bits, base);
            CallRecorder f;
            f.base = base;
            f << v;
            EXPECT_EQ(std::string(text, end.ptr), ContentOf(f)) << base;
            EXPECT_EQ("ReplaceBuf 0 same ", f.seen.substr(0, 18));
        };
        for (const long long v : {LLONG_MIN, LLONG_MAX, -1LL, 35LL, 0x7FFFLL, 0x8000LL, 0x7FFFFFFFLL, 0x80000000LL}) {
            check(short(v), 0), check(static_cast<unsigned short>(v), 0U), check(int(v), 0), check(unsigned(v), 0U);
            check(long(v), 0L), check(static_cast<unsigned long>(v), 0UL);
            check(v, 0LL), check(static_cast<unsigned long long>(v), 0ULL);
        }
    }
    for (const int base : {INT_MIN, -10, 0, 1, 37, INT_MAX}) {
        VFile f;
        f.base = base;
        f << -1 << LLONG_MIN;
        EXPECT_EQ("-1-9223372036854775808", ContentOf(f));
    }
}

TEST(VFileEdit, OperatorsAddWriteAndHandOver) {
    VFile src("source"), dst("old"), f("previous");
    src.SetPos(2);
    f = static_cast<unsigned char>(0xFF);
    f.SetPos(0);
    (((f += 'a') += "bc") += src).SetPos(1);
    f << '7' << "xy" << src;
    EXPECT_EQ(std::string("\xFF") + "7xysource", ContentOf(f));
    f.SetPos(4);
    f >> dst;
    EXPECT_TRUE(dst == "source" && f.GetPos() == 10 && dst.GetPos() == 6 && src.GetPos() == 2);
    f.SetPos(4), dst.InclFlag(vfReadOnly);
    f >> dst;
    EXPECT_TRUE(f.res == resReadOnly && f.GetPos() == 4);
    f.Reset();
    EXPECT_EQ("", ContentOf(f = ""));
}

TEST(VFileEdit, FilledObjectsStandAtTheirEnd) {
    const TempDir dir;
    HFile file;
    file.Open(dir.Write("host", Pattern(3000)).c_str());
    const VFile repeated('x', 1500), some(file.handle, 1000), rest(file, MaxLen), part(rest, 1000, 5), missing(file, 1);
    EXPECT_EQ(std::string(1500, 'x') + Pattern(3000), ContentOf(repeated) + ContentOf(some) + ContentOf(rest));
    for (const VFile* f : {&repeated, &some, &rest, &part}) EXPECT_TRUE(f->Eof() && f->res == resDone);
    EXPECT_TRUE(ContentOf(part) == Part(Pattern(3000), 2000, 5) && missing.res == resNotDone && missing.Length() == 0);
}
