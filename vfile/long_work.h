// Work on objects that may take long: a meter, and what keeps the objects sound while the host is told. Internal.
#pragma once

#include "foundation/result.h"
#include "platform/meter.h"
#include "vfile/vfile_progress.h"

class VFile;

namespace vfile_internal {

constexpr std::int32_t CostOfChange = 4096; // a small one, to a meter

// A change of an object, made while the host is told, ends the work: nothing that was known of its blocks holds. The
// position of `own` is put back, with `res` and `eof`; its buffer may have got another block.
class LongWork : public platform::Meter {
  public:
    LongWork(VFileWork what, std::int64_t toDo, VFile& f)
        : Meter(what, toDo), own(&f), subjects{&f, nullptr}, wasTold(false), disturbed(false) {}
    LongWork(VFileWork what, std::int64_t toDo, VFile* mine, const VFile& f, const VFile* other)
        : Meter(what, toDo), own(mine), subjects{&f, other}, wasTold(false), disturbed(false) {}

    bool WasTold() const { return wasTold; }                                 // at least once
    Res Outcome() const { return disturbed ? resContextError : resStopped; } // of work that ended

  private:
    bool Tell() override;

    VFile* own; // null if none is moved
    const VFile* subjects[2];
    bool wasTold;
    bool disturbed;
};

} // namespace vfile_internal
