// The rows of progress, on against off, and of packing.
#pragma once

#include "vfile/vfile_progress.h"
#include "vfile_content.h"

namespace bench {

// The row with a callback that lets it go on.
template <double (*Row)(const Job&)>
double Told(const Job& job) {
    long calls = 0;
    VFileProgress progress;
    progress.context = &calls;
    progress.call = [](void* context, VFileWork, std::int64_t, std::int64_t) {
        return ++*static_cast<long*>(context) > 0;
    };
    const VFileProgress before = VFile_SetProgress(progress);
    const double value = Row(job);
    VFile_SetProgress(before);
    Check(calls > 0 || job.size < 8000000, "a callback that is called");
    return value;
}

// MB/s of bringing together blocks of 600 bytes.
template <class Content>
double Compact(const Job& job) {
    constexpr std::int64_t Piece = 600;
    const Text text;
    Content content(DefaultCacheKb);
    for (std::int64_t end = job.size; end > 0;) { // in front of the others: each in a block of its own
        const std::int64_t at = end > Piece ? end - Piece : 0;
        content.Replace(0, 0, text.At(at), static_cast<int>(end - at));
        end = at;
    }
    const std::int64_t used = VFile::SpaceUsed();
    bool done = false;
    const double seconds = Seconds([&] { done = content.f.Compact(); });
    Check(done && VFile::SpaceUsed() < used * 6 / 10, "the blocks are full");
    CheckText(content, text, job.size);
    return MBps(job.size, seconds);
}

template <class Content>
Rows LongRows() {
    return {{"findtold", Told<Search<Content, &Content::Find>>, ""},
            {"replacetold", Told<ReplaceWords<Content>>, ""},
            {"savetold", Told<Save<Content>>, ""},
            {"compact", Compact<Content>, ""}};
}

} // namespace bench
