// The loader's notices: process and thread start and end, told to the library's entry. Internal.
//
// Process start comes from the system's loader, before the host's static objects are made, in the shared and the static
// form alike. Its end comes when these are gone: to the thread alone that ends the process or unloads the library, as
// that thread's end notice, since the numbers and the pointers of the others have to stay for as long as they run. A
// thread's start notice is delivered by DeliverThreadStart, at its first call into the library: nobody can tell the
// difference. Its end notice comes when the thread ends, after the destructors of its thread_local objects. A thread
// that ran before the library was loaded gets no start notice.
#pragma once

#include <cstdint>

namespace vfile_internal::platform {

constexpr std::uint32_t ProcessDetach = 0;
constexpr std::uint32_t ProcessAttach = 1;
constexpr std::uint32_t ThreadAttach = 2;
constexpr std::uint32_t ThreadDetach = 3;

// The receiver of all notices. Not defined in this layer: whoever keeps an environment per thread defines it.
int OnLoaderNotice(std::uint32_t reason);

// Called in the child of a fork, where every object is the parent's, if the thread that forked has had its start
// notice: keeps that thread's settings, and nothing else of its environment. Defined by the receiver too.
void OnForkedChild();

// Gives the calling thread its start notice if it is due. To be called at the head of everything that asks for the
// thread's environment; costs one test of a thread-local flag.
void DeliverThreadStart();

} // namespace vfile_internal::platform
