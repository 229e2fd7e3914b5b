// Runs of a content's bytes: what is not done in passing.
#include "vfile/span_reader.h"

#include "foundation/halt.h"

namespace vfile_internal {

SpanReader::SpanReader(const VFile& file, std::int32_t p, Way way)
    : content(Content::Of(file)), own(nullptr), beside(content.cur), at(&beside), back(way == Way::Back), calls(false),
      inBlock(false), byte(0) {
    if (p < 0) Halt("VFile", "SetPosC", "call error");
    content.chain.Find(beside, std::min(p, file.len), false); // from the object's cursor, which is known
}

Span SpanReader::Call() {
    byte = 0;
    back ? own->ReadPrevByte(byte) : own->ReadByte(byte);
    return {&byte, 1};
}

Span SpanReader::End() {
    if (!own) Halt("VFile", "ReadBytesC", "rd.ptr->next==NIL");
    byte = 0;
    return {&byte, 1};
}

void SpanReader::Read(void* dst, std::int32_t n) {
    if (n < 0 || n > content.chain.Length() - (at->start + at->ix)) Halt("VFile", "ReadBytesC", "call error");
    auto* to = static_cast<unsigned char*>(dst);
    for (std::size_t left = static_cast<std::size_t>(n), k; left > 0; left -= k) {
        const Span s = Next();
        k = std::min(s.size, left);
        std::memcpy(to, s.bytes, k);
        Take(k);
        to += k;
    }
}

} // namespace vfile_internal
