// What the objects of a thread share. Internal.
#pragma once

#include "foundation/from_heap.h"
#include "vfile/buffer_pool.h"
#include "vmem/vmem.h"

#include <cstdint>

namespace vfile_internal {

// The VMem of a thread, and what else its objects have in common.
class ThreadsVMem : public VMem, public FromHeap {
  public:
    BufferPool buffers;
};

std::int32_t ThreadVFileCount();   // number of live VFile objects of the calling thread
ThreadsVMem* JoinThread();         // for an object that is being made: the thread's VMem, made for its first one
void LeaveThread();                // for an object that is gone: the last one takes the VMem with it
void LeaveEstate(ThreadsVMem* vm); // LeaveThread for one that was made before a fork

} // namespace vfile_internal
