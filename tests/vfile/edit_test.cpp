// The families of edits over their sources, typed reads, numbers, operators and filled objects.
#include "hostfile/hfile.h"
#include "support/call_recorder.h"
#include "support/temp_dir.h"
#include "support/vfile_support.h"

#include <array>
#include <charconv>
#include <functional>
#include <gtest/gtest.h>

namespace {

const std::string Digits = "0123456789";

// What the sources draw from; opened anew for each edit.
struct Sources {
    VFile text{"source"};
    HFile file;
    explicit Sources(const std::string& name) { file.Open(name.c_str()); }
};

using Edit = std::function<void(VFile&, Sources&)>;

struct Family {
    const char* name;
    std::array<Edit, 10> edits;
};

#define FAMILY(Name)                                                                                                   \
    {                                                                                                                  \
#Name, {                                                                                                       \
            {                                                                                                          \
                [](VFile& f, Sources&) { f.Name##Byte(0xE9); }, [](VFile& f, Sources&) { f.Name##Bytes("a\0b", 3); },  \
                    [](VFile& f, Sources&) { f.Name##Word(0x4142); },                                                  \
                    [](VFile& f, Sources&) { f.Name##DWord(0x41424344L); },                                            \
                    [](VFile& f, Sources&) { f.Name##QWord(0x4142434445464748ULL); },                                  \
                    [](VFile& f, Sources&) { f.Name('x', 5); }, [](VFile& f, Sources&) { f.Name("text"); },            \
                    [](VFile& f, Sources& s) { f.Name(s.text, 2, 100); },                                              \
                    [](VFile& f, Sources& s) { f.Name(s.file.handle, 4); },                                            \
                    [](VFile& f, Sources& s) { f.Name(s.file, MaxLen); }                                               \
            }                                                                                                          \
        }                                                                                                              \
    }

const Family families[] = {FAMILY(Insert), FAMILY(Replace), FAMILY(Write), FAMILY(Append), FAMILY(Prepend)};

// The bytes that each source brings, and how it is called: operation, old length of an overwrite, what stands behind.
const struct {
    std::string bytes, operation;
    std::int32_t overwrite;
    std::string rest;
} sources[] = {
    {"\xE9", "ReplaceBuf", 1, " 1"},
    {{"a\0b", 3}, "ReplaceBuf", 3, " 3"},
    {"BA", "ReplaceBuf", 2, " 2"},
    {"DCBA", "ReplaceBuf", 4, " 4"},
    {"HGFEDCBA", "ReplaceBuf", 8, " 8"},
    {"xxxxx", "ReplaceCh", 5, " 5"},
    {"text", "ReplaceBuf", SameLen, " 4"},
    {"urce", "ReplaceTxt", SameLen, " 2 100"},
    {"host", "ReplaceHandle", SameLen, " 4"},
    {"host file", "ReplaceFile", SameLen, " max"},
};

} // namespace

TEST(VFileEdit, EachFamilyGivesItsPlaceAndOldLengthToTheOperationOfTheSource) {
    const TempDir dir;
    const std::string name = dir.Write("host", "host file");
    for (const Family& family : families) {
        const std::string word = family.name;
        for (const bool insert : {false, true}) {
            for (const std::int32_t pos : {0, 4, 8, 10}) {
                for (std::size_t i = 0; i < std::size(sources); ++i) {
                    SCOPED_TRACE(word + (insert ? " inserting " : " ") + std::to_string(pos) + " " + std::to_string(i));
                    const auto& source = sources[i];
                    Sources from(name);
                    CallRecorder f;
                    f = Digits.c_str();
                    f.SetFlag(vfInsert, insert);
                    f.SetPos(pos);
                    f.calls.clear();
                    family.edits[i](f, from);

                    const bool over = word == "Replace" || (word == "Write" && !insert);
                    const std::int32_t at = word == "Append" ? 10 : word == "Prepend" ? 0 : pos;
                    std::string content = Digits;
                    content.replace(static_cast<std::size_t>(at), over ? source.bytes.size() : 0, source.bytes);
                    const std::string call =
                        CallRecorder::Text(source.operation.c_str(), {at, over ? source.overwrite : 0});
                    EXPECT_EQ(call.substr(0, call.size() - 2) + source.rest + "; ", f.calls);
                    EXPECT_EQ(content, ContentOf(f));
                    EXPECT_EQ(at + static_cast<std::int32_t>(source.bytes.size()), f.GetPos());
                }
            }
        }
    }
}

TEST(VFileEdit, FixedWidthsTakeEveryIntegerType) {
    VFile f;
    f.AppendWord(short{-2});
    f.AppendWord(0x12345L);
    f.AppendWord(7ULL);
    f.AppendDWord(-2LL);
    f.AppendDWord(5UL);
    f.AppendDWord(static_cast<unsigned short>(0xFFFF));
    f.AppendQWord(-2);
    f.AppendQWord(0xFFFFFFFFU);
    f.AppendQWord(LLONG_MIN);
    f.Append(static_cast<unsigned char>(0xFF), 1);
    const char expected[] = "\xFE\xFF\x45\x23\x07\0\xFE\xFF\xFF\xFF\5\0\0\0\xFF\xFF\0\0"
                            "\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\0\0\0\0\0\0\0\0\0\0\0\x80\xFF";
    EXPECT_EQ(std::string(expected, sizeof expected - 1), ContentOf(f));
}

TEST(VFileEdit, DeleteTruncateAndEmptyEditsMoveThePosition) {
    const struct {
        const char* name;
        std::function<void(VFile&)> edit;
        const char* content;
        std::int32_t pos;
        Res res;
    } rows[] = {
        {"delete", [](VFile& f) { f.Delete(2, 3); }, "0156789", 2, resDone},
        {"delete beyond", [](VFile& f) { f.Delete(100, 5); }, "0123456789", 10, resDone},
        {"delete negative", [](VFile& f) { f.Delete(-1, 5); }, "0123456789", 6, resCallError},
        {"truncate", [](VFile& f) { f.Truncate(); }, "012345", 6, resDone},
        {"empty text", [](VFile& f) { f.Write(""); }, "0123456789", 6, resDone},
        {"no character", [](VFile& f) { f.Replace('x', 0); }, "0123456789", 6, resDone},
        {"less than none", [](VFile& f) { f.Insert('x', -1); }, "0123456789", 6, resCallError},
        {"no bytes", [](VFile& f) { f.WriteBytes(nullptr, 1); }, "0123456789", 6, resCallError},
        {"closed", [](VFile& f) { f.ReadFromFile(InvalidHandle, MaxLen); }, "0123456789", 6, resCallError},
        {"assign nothing", [](VFile& f) { f = ""; }, "", 0, resDone},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        VFile f(Digits.c_str());
        f.SetPos(6);
        f.eof = true;
        row.edit(f);
        EXPECT_EQ(row.content, ContentOf(f));
        EXPECT_EQ(row.pos, f.GetPos());
        EXPECT_EQ(row.res, f.res);
        EXPECT_EQ(row.res != resDone, f.eof);
        if (row.res == resDone) continue;
        f << "x" << 1; // refused: the first failure stands
        EXPECT_EQ(row.content, ContentOf(f));
        EXPECT_EQ(row.res, f.res);
    }
}

TEST(VFileEdit, TypedReadsTakeTheLowByteFirstAndKeepWhatIsNotThere) {
    CallRecorder f;
    f = "\1\2\3\4\5\6\7\x88\xFF\xFE";
    f.Reset();
    f.calls.clear();
    short word = 0;
    int dword = 0;
    unsigned char c = 0;
    signed char prev = 0;
    f.ReadWord(word);
    f.ReadDWord(dword);
    f.ReadChar(c);
    f.ReadPrevChar(prev);
    f >> prev;
    EXPECT_EQ("ReadBytes 2; ReadBytes 4; next; prev; next; ", f.calls);
    EXPECT_EQ(0x0201, word);
    EXPECT_EQ(0x06050403, dword);
    EXPECT_EQ(7, c);
    EXPECT_EQ(7, prev);

    f.SetPos(2);
    long native = 0; // of the width of one of the two
    long long qword = 0;
    if (sizeof native == sizeof qword) {
        f.ReadQWord(native);
        EXPECT_EQ(static_cast<long>(0xFEFF880706050403), native);
    }
    f.SetPos(0);
    f.ReadQWord(qword);
    EXPECT_EQ(static_cast<long long>(0x8807060504030201), qword);
    EXPECT_FALSE(f.eof);
    unsigned int part = 0xAABBCCDD;
    f.ReadDWord(part);
    EXPECT_EQ(0xAABBFEFFU, part);
    EXPECT_TRUE(f.eof);
    EXPECT_EQ(10, f.GetPos());
    f.Reset();
    f.ReadPrevChar(c);
    EXPECT_EQ(0, c);
    EXPECT_TRUE(f.eof);
}

TEST(VFileEdit, ReadFoldsLineEnds) {
    const struct {
        const char *content, *read; // each character with the number of bytes it took
    } rows[] = {{"a\r\nb", "a1\n2b1"}, {"\r", "\n1"}, {"\n\r", "\n1\n1"}, {"\r\r\nx", "\n1\n2x1"}, {"", ""}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.content));
        VFile f(row.content);
        f.Reset();
        std::string read;
        char c = 'x';
        while (const std::int32_t n = f.Read(c)) {
            EXPECT_FALSE(f.eof);
            read += c + std::to_string(n);
        }
        EXPECT_EQ(row.read, read);
        EXPECT_EQ(0, c);
        EXPECT_TRUE(f.eof);
    }
}

namespace {

// The number by another hand: unsigned in all radices but 10.
template <class Signed, class Value>
std::string TextOf(Value v, int base) {
    char text[80];
    const Signed wide = v;
    const auto end = base == 10 && v < 0 ? std::to_chars(text, text + 80, wide, base)
                                         : std::to_chars(text, text + 80, std::make_unsigned_t<Signed>(wide), base);
    return {text, end.ptr};
}

template <class Value>
void ExpectNumber(Value v, int base) {
    using Signed =
        std::conditional_t<sizeof v == 8, long long, std::conditional_t<std::is_signed_v<Value>, int, long long>>;
    const std::string text = TextOf<Signed>(v, base);
    CallRecorder f;
    f.base = base;
    f << v;
    EXPECT_EQ(text, ContentOf(f)) << base;
    EXPECT_EQ(CallRecorder::Text("ReplaceBuf", {0, SameLen, f.Length()}), f.calls);
}

template <class Value>
void ExpectNumbers(int base) {
    for (const Value v : {std::numeric_limits<Value>::min(), std::numeric_limits<Value>::max(), Value(-1), Value(0),
                          Value(35), Value(-1234567)}) {
        ExpectNumber(v, base);
    }
}

} // namespace

TEST(VFileEdit, NumbersOfEveryTypeInEveryRadix) {
    for (int base = 2; base <= 36; ++base) {
        ExpectNumbers<short>(base);
        ExpectNumbers<unsigned short>(base);
        ExpectNumbers<int>(base);
        ExpectNumbers<unsigned int>(base);
        ExpectNumbers<long>(base);
        ExpectNumbers<unsigned long>(base);
        ExpectNumbers<long long>(base);
        ExpectNumbers<unsigned long long>(base);
    }
    for (const int base : {INT_MIN, -10, 0, 1, 37, INT_MAX}) {
        VFile f;
        f.base = base;
        f << -1 << LLONG_MIN;
        EXPECT_EQ("-1-9223372036854775808", ContentOf(f));
    }
}

TEST(VFileEdit, OperatorsAddWriteAndHandOver) {
    VFile src("source");
    src.SetPos(2);
    CallRecorder f;
    f = 'a';
    f = static_cast<unsigned char>(0xFF);
    f.SetPos(0);
    f += static_cast<signed char>(-2);
    f.SetPos(0);
    f += "bc";
    f += src;
    f.SetPos(1);
    f.calls.clear();
    f << '7' << "xy" << src;
    EXPECT_EQ("ReplaceBuf 1 1 1; ReplaceBuf 2 same 2; ReplaceTxt 4 same 0 max; ", f.calls);
    EXPECT_EQ("\xFF"
              "7xysource",
              ContentOf(f));
    EXPECT_EQ(2, src.GetPos());

    CallRecorder dst;
    dst = "old";
    dst.calls.clear();
    f.SetPos(4);
    f >> dst;
    EXPECT_EQ("ReplaceTxt 0 max 4 max; ", dst.calls);
    EXPECT_EQ("source", ContentOf(dst));
    EXPECT_EQ(f.Length(), f.GetPos());
    EXPECT_EQ(6, dst.GetPos());

    f.SetPos(4);
    dst.InclFlag(vfReadOnly);
    f >> dst;
    EXPECT_EQ(resReadOnly, f.res);
    EXPECT_EQ(4, f.GetPos());

    f.Reset();
    f = f;
    f >> f;
    EXPECT_EQ("", ContentOf(f)); // what stands before the position goes, and here nothing stood behind it
}

TEST(VFileEdit, FilledObjectsStandAtTheirEnd) {
    const TempDir dir;
    HFile file;
    file.Open(dir.Write("host", Pattern(3000)).c_str());
    const VFile repeated('x', 1500);
    const VFile text("text");
    const VFile some(file.handle, 1000);
    const VFile rest(file, MaxLen);
    const VFile part(rest, 1000, 5);
    const VFile copy = rest;
    const VFile missing(file, 1);
    EXPECT_EQ(std::string(1500, 'x'), ContentOf(repeated));
    EXPECT_EQ("text", ContentOf(text));
    EXPECT_EQ(Pattern(3000).substr(0, 1000), ContentOf(some));
    EXPECT_EQ(Pattern(3000).substr(1000), ContentOf(copy));
    EXPECT_EQ(Pattern(3000).substr(2000, 5), ContentOf(part));
    for (const VFile* f : {&repeated, &text, &some, &rest, &part, &copy}) {
        EXPECT_EQ(f->Length(), f->GetPos());
        EXPECT_EQ(resDone, f->res);
    }
    EXPECT_EQ(resNotDone, missing.res);
    EXPECT_EQ(0, missing.Length());
}
