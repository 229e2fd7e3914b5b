// Stands in for the standard descriptors that the host has closed. Internal to the platform layer.
#pragma once

namespace vfile_internal::platform {

// As long as there is an object, none of the three numbers is free: another thread may write to them just when a file
// is being opened, and nobody can write to what stands there. The threads share the stand-ins: the last one that needs
// them takes them away. Costs three calls of the system if the host has all three descriptors.
class StandIns {
  public:
    StandIns();
    ~StandIns(); // leaves errno alone
    StandIns(const StandIns&) = delete;
    StandIns& operator=(const StandIns&) = delete;
};

// In the child of a fork: takes away what other threads of the parent had there.
void DropStandInsOfParent();

} // namespace vfile_internal::platform
