// Search in both directions, and global replacement.
#include "vfile/content.h"

#include "foundation/halt.h"
#include "vfile/byte_pattern.h"
#include "vfile/edit_internal.h"
#include "vfile/long_work.h"
#include "vfile/vfile_observer.h"

#include <algorithm>
#include <cctype>
#include <cstring>

using vfile_internal::BytePattern;
using vfile_internal::Folding;
using vfile_internal::LongWork;
using vfile_internal::Span;
using vfile_internal::SpanReader;
using vfile_internal::TextLength;
using Way = SpanReader::Way;

namespace {

// One search, in either direction.
class Scan {
  public:
    Scan(VFile& file, const char* text, bool backward, const Folding& fold, std::int64_t from, LongWork& longWork)
        : f(file), work(longWork), pattern(text, std::strlen(text), backward, fold), n(pattern.Size()), back(backward),
          at(from) {}

    // From `at` to the next match, and then `at` is its far end in the direction of the scan; one step beyond the
    // content if there is none. Where the host stops it: the place from which the next scan misses none.
    bool Run(bool wholeWord);
    std::int64_t At() const { return at; }
    void GoTo(std::int64_t p) { at = p; }

  private:
    bool RunAnywhere();
    bool Stopped(std::size_t matched);
    bool InsideWord() const;
    bool WordByte(std::int64_t p, Way way) const;
    std::int64_t Step(std::size_t k) const {
        return back ? -static_cast<std::int64_t>(k) : static_cast<std::int64_t>(k);
    }

    VFile& f;
    LongWork& work;
    const BytePattern pattern;
    std::size_t n;
    bool back;
    std::int64_t at; // after the last byte read, in the direction of the scan; one step too far at the end
};

bool Scan::RunAnywhere() {
    f.SetPos(static_cast<std::int32_t>(at));
    SpanReader in(f, back ? Way::Back : Way::Ahead);
    for (std::size_t m = 0;;) {
        const Span s = in.Next();
        if (m == n) { // it goes one byte beyond a match
            in.Take(1);
            return true;
        }
        const std::size_t done = pattern.Pass(s, m, f.eof);
        in.Take(done);
        at += Step(done);
        if (m == 0 && f.eof) {
            at += Step(1);
            return false;
        }
        if (!work.Step(static_cast<std::int64_t>(done)) && m < n) return Stopped(m);
    }
}

bool Scan::Stopped(std::size_t matched) {
    at -= Step(matched);
    f.res = work.Outcome();
    return false;
}

// Reading beside a match. The edges of the content are no word bytes.
bool Scan::WordByte(std::int64_t p, Way way) const {
    f.SetPos(static_cast<std::int32_t>(p));
    return std::isalnum(SpanReader(f, way).Byte()) != 0;
}

// A match inside a longer word. The byte beyond its far end is looked at first.
bool Scan::InsideWord() const {
    const auto size = static_cast<std::int64_t>(n);
    if (back) return WordByte(at, Way::Back) || WordByte(at + size, Way::Ahead);
    return WordByte(at, Way::Ahead) || WordByte(at - size, Way::Back);
}

bool Scan::Run(bool wholeWord) {
    while (RunAnywhere()) {
        if (!wholeWord || !InsideWord()) return true;
    }
    return false;
}

} // namespace

bool VFile::Find(std::int32_t& at, const char* pattern, bool ignoreCase, bool wholeWord) {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    if (at < 0) {
        res = resCallError;
        return false;
    }
    if (!*pattern) return true;
    LongWork work(VFileWork::Find, std::max(len - at, 0), *this);
    const Folding folding(ignoreCase);
    Scan scan(*this, pattern, false, folding, at, work);
    const bool found = scan.Run(wholeWord);
    at = static_cast<std::int32_t>(std::min<std::int64_t>(scan.At(), MaxLen));
    return found;
}

bool VFile::FindBack(std::int32_t& at, const char* pattern, bool ignoreCase, bool wholeWord) {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    if (at < 0) {
        res = resCallError;
        return false;
    }
    if (!*pattern) return true;
    const Folding folding(ignoreCase);
    LongWork work(VFileWork::Find, std::min(at, len), *this);
    Scan scan(*this, pattern, true, folding, std::min(at, len), work);
    const bool found = scan.Run(wholeWord);
    at = static_cast<std::int32_t>(scan.At());
    return found;
}

std::int32_t VFile::ReplaceGlobal(const char* pattern, const char* replacement, bool ignoreCase, bool wholeWord) {
    const int oldLen = TextLength(pattern);
    const int newLen = TextLength(replacement);
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    if (oldLen == 0) return 0; // it would be found for ever
    std::int32_t count = 0;
    const Folding folding(ignoreCase);
    const vfile_internal::OneStep step(content->observers ? this : nullptr);
    LongWork work(VFileWork::Replace, len, *this);
    Scan scan(*this, pattern, false, folding, 0, work);
    while (scan.Run(wholeWord)) {
        ReplaceBuf(static_cast<std::int32_t>(scan.At()) - oldLen, oldLen, replacement, newLen);
        if (res != resDone) break;
        scan.GoTo(pos);
        ++count;
        if (work.Step(0, vfile_internal::CostOfChange)) continue;
        res = work.Outcome();
        break;
    }
    return count;
}
