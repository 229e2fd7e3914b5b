// How vfedit saves a file, and what there is to say about it.
#include "vfedit_save.h"

#include "vfedit_terminal.h"

#include <cerrno>
#include <cstring>

int WaysOfSaving(const CommandLine& line) {
    return (line.inPlace ? hsWriteInPlace : 0) | (line.force ? hsForce : 0);
}

bool SaveTold(const char* shown, const HFileSave& save) {
    const char* why = std::strerror(save.SystemError() != 0 ? save.SystemError() : ENOMEM);
    switch (save.outcome) {
    case HFileSave::Outcome::Done:
        return true;
    case HFileSave::Outcome::Failed:
        break;
    case HFileSave::Outcome::NotOrdinary:
    case HFileSave::Outcome::OpenFile:
        return Complain(shown, "it is no ordinary file any more");
    case HFileSave::Outcome::Held:
        return Complain(shown, "another program holds it");
    case HFileSave::Outcome::Changed:
    case HFileSave::Outcome::Exists:
        return Complain(shown, "somebody has changed it meanwhile; --force overwrites that");
    case HFileSave::Outcome::Irreplaceable:
        return Complain(shown, "can't be replaced: %s; --in-place writes into it", why);
    case HFileSave::Outcome::Attribute:
        return Complain(shown, "can't keep its %.100s: %s; --in-place does", save.AttributeName(), why);
    }
    return Complain(shown, "%s", why);
}
