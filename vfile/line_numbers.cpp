// Lines by number: from the index, or in one pass by the reads of a class that overrides them.
#include "foundation/halt.h"
#include "vfile/line_ends.h"
#include "vfile/line_index.h"
#include "vfile/long_work.h"

#include <algorithm>

using vfile_internal::LineIndex;
using vfile_internal::LongWork;
using vfile_internal::SpanReader;

namespace {

// A pass over all of an object by the reads of its class. What throws leaves the position where it is.
class Pass {
  public:
    explicit Pass(VFile& file) : f(file), pos(file.GetPos()), res(file.res), eof(file.eof) { f.SetPos(0); }
    std::int32_t End(std::int32_t answer) const {
        f.SetPos(pos);
        f.res = res;
        f.eof = eof;
        return answer;
    }

  private:
    VFile& f;
    std::int32_t pos;
    Res res;
    bool eof;
};

// What one pass over the content answers, for who counts nothing: by the reads of the class, or beside it.
template <class Answer>
std::int32_t Ask(VFile& f, bool byCall, Answer answer) {
    LongWork work(VFileWork::Count, f.Length(), f);
    std::int32_t n;
    if (byCall) {
        const Pass pass(f);
        SpanReader in(f, SpanReader::Way::Ahead);
        n = pass.End(answer(in, f.eof, work));
    } else {
        SpanReader in(f, 0);
        n = answer(in, vfile_internal::never, work);
    }
    if (!work.IsStopped()) return n;
    f.res = work.Outcome();
    return 0;
}

} // namespace

std::int32_t VFile::LineCount() {
    return LineOf(MaxLen) + 1;
}

std::int32_t VFile::LineOf(std::int32_t p) {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    if (p < 0) {
        res = resCallError;
        return 0;
    }
    p = std::min<std::int32_t>(p, len);
    const bool byCall = vfile_internal::Overrides(*this, &VFile::ReadByte);
    Res stopped = resDone;
    LineIndex* lines = byCall ? nullptr : LineIndex::ToAsk(*this, stopped);
    if (lines) return lines->EndsBefore(p);
    if (stopped != resDone) return res = stopped, 0;
    const std::int32_t limit = len;
    return Ask(*this, byCall, [p, limit](SpanReader& in, const bool& ended, LongWork& work) {
        return vfile_internal::EndsWithin(in, p, limit, ended, &work);
    });
}

std::int32_t VFile::LineAt(std::int32_t n) {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    if (n < 0) {
        res = resCallError;
        return 0;
    }
    if (n == 0) return 0;
    const bool byCall = vfile_internal::Overrides(*this, &VFile::ReadByte);
    Res stopped = resDone;
    LineIndex* lines = byCall ? nullptr : LineIndex::ToAsk(*this, stopped);
    if (lines) return n <= lines->Ends() ? lines->Behind(n) : len;
    if (stopped != resDone) return res = stopped, 0;
    const std::int32_t limit = len;
    return Ask(*this, byCall, [n, limit](SpanReader& in, const bool& ended, LongWork& work) {
        return vfile_internal::PassEnds(in, n, limit, ended, &work);
    });
}
