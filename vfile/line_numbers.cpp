// Lines by number: from the index, or in one pass by the reads of a class that overrides them.
#include "foundation/halt.h"
#include "vfile/line_ends.h"
#include "vfile/line_index.h"

#include <algorithm>

using vfile_internal::LineIndex;
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
    if (vfile_internal::Overrides(*this, &VFile::ReadByte)) {
        const Pass pass(*this);
        SpanReader in(*this, SpanReader::Way::Ahead);
        return pass.End(vfile_internal::EndsWithin(in, p, len, eof));
    }
    if (LineIndex* lines = LineIndex::ToAsk(*this)) return lines->EndsBefore(p);
    SpanReader in(*this, 0);
    return vfile_internal::EndsWithin(in, p, len, vfile_internal::never);
}

std::int32_t VFile::LineAt(std::int32_t n) {
    if (!content->OnOwnerThread()) HaltA("VFile", __LINE__);
    if (n < 0) {
        res = resCallError;
        return 0;
    }
    if (n == 0) return 0;
    if (vfile_internal::Overrides(*this, &VFile::ReadByte)) {
        const Pass pass(*this);
        SpanReader in(*this, SpanReader::Way::Ahead);
        return pass.End(vfile_internal::PassEnds(in, n, len, eof));
    }
    if (LineIndex* lines = LineIndex::ToAsk(*this)) return n <= lines->Ends() ? lines->Behind(n) : len;
    SpanReader in(*this, 0);
    return vfile_internal::PassEnds(in, n, len, vfile_internal::never);
}
