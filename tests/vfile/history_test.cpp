// Histories and marks where the random walks don't get: what joins, what refuses, and objects that go.
#include "support/vfile_support.h"
#include "vfile/vfile_history.h"
#include "vfile/vfile_marks.h"

namespace {

// "+ab" types two bytes, "=ab" overwrites, "<2" erases before the position, ">2" after it, "~n" inserts n bytes at
// once, "@n" goes to n, "[" and "]" group, "|" ends the step, "s" saves.
void Play(VFile& f, VFileHistory& h, const std::string& script) {
    std::istringstream words(script);
    for (std::string word; words >> word;) {
        const std::string rest = word.substr(1);
        const int n = std::atoi(rest.c_str());
        for (const char c : rest) {
            if (word[0] == '+') f.Insert(c == '$' ? '\n' : c, 1);
            if (word[0] == '=') f.Replace(c, 1);
        }
        for (int i = 0; i < n && word[0] == '<'; ++i) f.Delete(f.GetPos() - 1, 1);
        for (int i = 0; i < n && word[0] == '>'; ++i) f.Delete(f.GetPos(), 1);
        if (word[0] == '~') f.InsertBytes(std::string(static_cast<std::size_t>(n), 'x').data(), n);
        if (word[0] == '@') f.SetPos(n);
        if (word[0] == '[') h.Begin();
        if (word[0] == ']') h.End();
        if (word[0] == '|') h.EndStep();
        if (word[0] == 's') h.MarkSaved();
    }
}

// The contents that Undo leads to, with an asterisk at the one that is saved, and an empty one as "-".
std::string Contents(const VFile& f, VFileHistory& h) {
    std::string all;
    do {
        const std::string content = ContentOf(f);
        all += (all.empty() ? "" : " ") + (content.empty() ? "-" : content) + (h.IsSaved() ? "*" : "");
    } while (h.Undo());
    return all;
}

TEST(History, JoinsWhatIsTypedInARow) {
    const struct {
        const char *script, *contents;
    } rows[] = {
        {"+abc", "abc -*"},
        {"+ab$cd", "ab\ncd ab\n -*"},
        {"+abc @1 +xy", "axybc abc -*"},
        {"+abcd | <2", "ab abcd -*"},
        {"+abcd @1 >2", "ad abcd -*"},
        {"+ab$c | <1 <1 <1", "a ab ab\nc ab\n -*"},
        {"+ab <1 +c", "ac a ab -*"},
        {"+abcd @1 =xy", "axyd abcd -*"},
        {"+ab ~65 <65 +c", "abc ab "
                           "abxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx ab -*"},
        {"[ +ab @0 [ +c ] @3 +d ] +e", "cabde cabd -*"},
        {"+a [ +bc <2 ] +d", "ad a -*"},
        {"+ab s +cd", "abcd ab* -"},
        {"+ab s +cd <2", "ab abcd ab* -"}, // the same bytes, but not the state
        {"+ab s [ +cd <2 ]", "ab* -"},
        {"[ +ab s +cd ]", "abcd ab* -"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.script);
        VFile f;
        VFileHistory h(f);
        Play(f, h, row.script);
        const std::string last = ContentOf(f);
        EXPECT_EQ(row.contents, Contents(f, h));
        while (h.Redo()) {
        }
        EXPECT_EQ(last, ContentOf(f));
    }
}

TEST(History, AsksTheRuleOfTheHost) {
    VFile f;
    VFileHistory h(f);
    int asked = 0;
    const VFileHistory::JoinRule rule = [](void* context, const VFileChange& last, const VFileChange& next) {
        ++*static_cast<int*>(context);
        return last.at == 0 && last.newLen == 2 && last.lineEnd && next.at == 7 && !next.lineEnd;
    };
    h.SetJoinRule(rule, &asked);
    Put(f, 0, 0, "a\n"), f.Append("b\nc b"), Put(f, 7, MaxLen, "cd"), Put(f, 0, 2, "a\n"), Put(f, 7, 1, "x");
    EXPECT_EQ(4, asked);
    EXPECT_EQ("a\nb\nc bxd a\nb\nc bcd a\nb\nc b a\n -*", Contents(f, h));
}

// Does what each test asks of it with a change.
class Odd : public VFile {
  public:
    std::function<void(Odd&)> after;
    void ReplaceBuf(std::int32_t at, std::int32_t oldLen, const void* src, int n) override {
        if (ignores) return;
        const int part = splits ? std::min(n, 1) : n;
        VFile::ReplaceBuf(at, oldLen, src, part);
        if (part < n) VFile::ReplaceBuf(at + 1, 0, static_cast<const char*>(src) + 1, n - 1);
    }
    bool ignores = false, splits = false;

  protected:
    void PostChange(std::int32_t, std::int32_t, std::int32_t) override {
        if (after) after(*this);
    }
};

TEST(History, TellsWhyItCannot) {
    Odd f;
    VFileHistory h(f);
    const auto no = [&](bool did, Res res) { return !did && h.res == res; };
    EXPECT_TRUE(no(h.Undo(), resDone) && no(h.Redo(), resDone) && (h.End(), h.res == resCallError));
    Play(f, h, "+abc | @0 +xyz [");
    EXPECT_TRUE(no(h.Undo(), resContextError));
    h.End();
    f.InclFlag(vfReadOnly);
    EXPECT_TRUE(no(h.Undo(), resReadOnly) && no(h.Undo(), resReadOnly)); // the second is the object's
    f.Reset(), f.ExclFlag(vfReadOnly), f.ignores = true;
    EXPECT_TRUE(no(h.Undo(), resNotDone) && h.UndoCount() == 2);
    f.ignores = false, f.splits = true;
    EXPECT_TRUE(h.Undo() && h.Redo() && h.res == resDone && f == "xyzabc");
    bool nested = false, applying = false;
    f.after = [&](Odd&) { nested = h.Undo() || h.res != resContextError, applying = h.IsApplying(); };
    EXPECT_TRUE(h.Undo() && !nested && applying && !h.IsApplying());
    f.after = [](Odd& odd) { odd.after = nullptr, odd.Append("!"); }; // what it must not do
    EXPECT_TRUE(no(h.Redo(), resContextError) && h.UndoCount() + h.RedoCount() == 0 && !h.IsSaved());
    f.Prepend("x");
    f.after = [](Odd& odd) { odd.after = nullptr, throw 1; };
    EXPECT_THROW(h.Undo(), int);
    EXPECT_TRUE(h.res == resContextError && !h.IsApplying() && h.UndoCount() + h.RedoCount() == 0);
    f.after = [&](Odd&) { nested = h.Undo(); }; // from a change of the host it may: and takes that very change
    f.Append("?");
    EXPECT_TRUE(nested && f == "xyzabc!" && f.res == resDone);
}

TEST(History, ForgetsWhatDoesNotFit) {
    VFile f('a', 3000);
    VFileHistory h(f);
    h.SetLimits(1000, 10);
    Play(f, h, "[ +abc @2000");
    f.Delete(0, 2500);
    EXPECT_TRUE(h.res == resTooLong && h.UndoCount() == 0 && !h.IsSaved());
    Play(f, h, "@0 +x ] @5 +y");
    EXPECT_TRUE(h.UndoCount() == 1 && h.Undo() && !h.Undo() && h.res == resDone && f.Length() == 504);
    EXPECT_EQ(1, h.RedoCount());
    h.MarkSaved(), h.Clear();
    EXPECT_TRUE(h.IsSaved() && h.RecordSize() == 0 && h.RedoCount() == 0);
    f.Append('b', 2000);
    EXPECT_TRUE(h.Undo() && h.res == resTooLong && h.RedoCount() == 0 && f.Length() == 504 && h.IsSaved()); // or forth
    f.Delete(0, 500), h.MarkSaved();
    EXPECT_TRUE(h.Undo() && !h.IsSaved());
    h.SetLimits(100, 10);
    EXPECT_TRUE(h.Redo() && h.res == resTooLong && h.UndoCount() == 0 && h.IsSaved()); // no way back
    f.Append("!");
    EXPECT_TRUE(!h.IsSaved() && h.Undo() && h.IsSaved());
}

TEST(History, EndsWithItsObject) {
    VFile first;
    auto f = std::make_unique<VFile>("abc");
    VFileHistory other(*f), h(*f);
    VFileMarks marks(*f);
    const VFileMark mark = marks.AddRange(1, 2);
    f->Append("d");
    EXPECT_TRUE(h.Undo() && other.UndoCount() == 2 && h.Subject() == f.get());
    f->Prepend(".."), f.reset();
    EXPECT_TRUE(!h.Undo() && h.res == resContextError && !h.Subject() && !h.IsSaved() && h.UndoCount() == 0);
    EXPECT_TRUE(marks.Start(mark) == 3 && marks.End(mark) == 4 && !marks.Subject() && marks.Add(0, {}) == 0);
    EXPECT_EQ(resContextError, marks.res);
    for (const bool objectFirst : {true, false}) { // copies in the child of a fork
        auto g = std::make_unique<VFile>("abc");
        auto history = std::make_unique<VFileHistory>(*g);
        auto ranges = std::make_unique<VFileMarks>(*g);
        ranges->Add(1, VFileGravity::After);
        g->Append("d");
        EXPECT_EQ("gone", InChild([&] {
                      if (objectFirst) g.reset();
                      history.reset(), ranges.reset(), g.reset();
                      return "gone";
                  }));
    }
    std::thread([&first] {
        VFileHistory history(first);
        VFileMarks ranges(first);
        EXPECT_TRUE(history.res == resContextError && ranges.res == resContextError && ranges.Add(0, {}) == 0);
    }).join();
}

TEST(Marks, RefuseWhatMakesNoSense) {
    VFile f("abc");
    VFileMarks marks(f);
    EXPECT_TRUE(marks.Add(-1, {}) == 0 && marks.res == resCallError);
    for (const int at : {-1, 2}) EXPECT_TRUE(marks.AddRange(at, 1) == 0 && marks.res == resCallError);
    const VFileMark range = marks.AddRange(2, 99);
    EXPECT_TRUE(marks.res == resDone && marks.Start(range) == 2 && marks.End(range) == 3);
    for (const VFileMark none : {0, -5, 1000, range + 1}) // the last is the range's other end
        EXPECT_TRUE(marks.Start(none) == -1 && marks.Next(none) == 0 && !marks.Remove(none));
    marks.Clear(), f.Prepend("x");
    EXPECT_TRUE(!marks.Remove(range) && marks.res == resCallError && marks.Add(1, {}) > 0 && marks.Count() == 1);
}

} // namespace
