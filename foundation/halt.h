/// @file
/// Halts: how a broken contract stops the program.
///
/// An ordinary failure leaves a result code (result.h). A broken contract, or a failure from which the code beneath
/// can't go on, is a halt: a short text goes to one process-wide halt procedure, which by default shows it on standard
/// error under the caption "Program halted" and aborts. A standard error that takes nothing holds it up for some
/// seconds at most. The text names the raising module ("HSys", "VMem", "VFile", "HFile").
///
/// A host may install a procedure of its own. If it returns, the operation that halted goes on with the bad value in
/// hand. It may also leave by any means; but an exception can't leave a destructor or the end of a thread, and ends the
/// program there. In both cases the library vouches for nothing that follows. One that is to end the process calls
/// _exit or abort: exit finds the objects of the thread alive and halts once more, into the same procedure.
///
/// Threads: the current procedure is one for the process and can be exchanged at any time. A halt runs on the thread
/// that failed; halts on several threads don't disturb one another. Whether a halt that runs while the procedure is
/// being exchanged reaches the old or the new one is open.
#pragma once

#include "../platform/export.h"

#include <cstdint>

/// What receives the text of a halt. The text lives only as long as the call: a procedure that keeps it copies it.
using HaltProc = void (*)(const char* text);

/// Gives `msg` itself, unformatted and uncopied, to the current halt procedure. Returns if that does. `msg` must not be
/// null.
VFILE_API void Halt(const char* msg);

/// Halts with "<module>: <msg>". As in all the formatting forms, a text of more than 259 bytes is cut at the end, and a
/// null argument reads "(null)".
VFILE_API void Halt(const char* module, const char* msg);

/// Halts with "<module>, <proc>():\n<msg>". `proc` is the name of the raising operation.
VFILE_API void Halt(const char* module, const char* proc, const char* msg);

/// Halts with "<module>, line <line>:\nAssertion failure". `line` is the source line of the failed check.
VFILE_API void HaltA(const char* module, std::int32_t line);

/// Halts with "<module>, <proc>(), line <line>:\nAssertion failure".
VFILE_API void HaltA(const char* module, const char* proc, std::int32_t line);

/// Halts with "Fatal Error <code> in module <module> ", a blank at its end.
VFILE_API void Fatal(const char* module, std::int32_t code);

/// Makes `proc` the current halt procedure; the one before it is forgotten. Null makes the default one current.
VFILE_API void InstallHaltProc(HaltProc proc);

/// Makes the default halt procedure current again, whatever was installed, however often.
VFILE_API void DeinstallHaltProc();
