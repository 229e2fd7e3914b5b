// Permissions, owners and extended attributes on Linux.
#include "platform/access_linux.h"

#include "platform/descriptor_linux.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <linux/limits.h>
#include <sys/xattr.h>

namespace vfile_internal::platform {
namespace {

constexpr const char* AccessList = "system.posix_acl_access";

bool HasAccessList(int fd) {
    return fgetxattr(fd, AccessList, nullptr, 0) > 0;
}

// The permission bits that a file without an access control list may have, so that it gives nobody more than this one
// does: the bits of the group are then no bound of the list any more, and those whom the list names are group or
// others.
mode_t AccessBits(int fd, const struct stat& st) {
    const mode_t bits = st.st_mode & 0777;
    unsigned char list[1028]; // a version, and entries of 8 bytes: kind, permissions, user or group, low byte first
    const ssize_t n = fgetxattr(fd, AccessList, list, sizeof list);
    if (n < 0) return errno == ENODATA || errno == EOPNOTSUPP || errno == ENOSYS ? bits : bits & 0700;
    constexpr int NamedUser = 2, OwnGroup = 4, NamedGroup = 8, Mask = 16;
    mode_t group = 7, named = 7, mask = 7;
    bool names = false;
    for (ssize_t i = 4; i + 8 <= n; i += 8) {
        const int kind = list[i] | list[i + 1] << 8;
        const mode_t given = list[i + 2] & 7;
        if (kind == OwnGroup) group = given;
        if (kind == Mask) mask = given;
        if (kind != NamedUser && kind != NamedGroup) continue;
        named &= given;
        names = true;
    }
    if (names) named &= mask;
    return (bits & 0700) | (group & mask & named) << 3 | (bits & 7 & named);
}

// The same for a file of the group `group`, whose members were nobody in particular so far, as those of its own group
// are then.
mode_t AccessBitsFor(gid_t group, int fd, const struct stat& st) {
    const mode_t bits = AccessBits(fd, st);
    if (group == st.st_gid) return bits;
    const mode_t both = bits >> 3 & bits & 7;
    return (bits & 0700) | both << 3 | both;
}

// Makes `bits` all the access that there is to the file. A list that it has from its directory goes.
bool SetAccess(int fd, mode_t bits) {
    return !(HasAccessList(fd) && fremovexattr(fd, AccessList) != 0) && fchmod(fd, bits) == 0;
}

// For a draft, which is the process's own: if that is refused, the file system has no such bits.
bool SetDraftAccess(int fd, mode_t bits) {
    return SetAccess(fd, bits) || errno == EPERM || errno == EOPNOTSUPP;
}

// The names of a file's extended attributes, and room for the value of one.
class Attributes {
  public:
    explicit Attributes(int fd) : from(fd), names(static_cast<char*>(std::malloc(XATTR_LIST_MAX + XATTR_SIZE_MAX))) {
        length = names ? flistxattr(from, names, XATTR_LIST_MAX) : -1;
        if (length < 0 && names && errno == ENOTSUP) length = 0;
    }
    ~Attributes() { std::free(names); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    bool Known() const { return length >= 0; } // else errno tells

    // The next name from `at` on, "" in front of the first and after the last.
    const char* Next(const char* at) const {
        if (length <= 0) return "";
        const char* next = *at ? at + std::strlen(at) + 1 : names;
        return next < names + length ? next : "";
    }
    bool Give(int out, const char* name) const {
        char* value = names + XATTR_LIST_MAX;
        const ssize_t n = fgetxattr(from, name, value, XATTR_SIZE_MAX);
        return n >= 0 && fsetxattr(out, name, value, static_cast<std::size_t>(n), 0) == 0;
    }

  private:
    int from;
    char* names;
    ssize_t length;
};

bool Begins(const char* s, const char* with) {
    return std::strncmp(s, with, std::strlen(with)) == 0;
}

// What users and access control lists keep there must not get lost. The other kinds belong to the system, which gives
// the new file its own, and lets us give it the old ones or not.
bool MustBeKept(const char* attribute) {
    return Begins(attribute, "user.") || Begins(attribute, "system.");
}

// Sums over the old content, and rights that a change of the content takes away unless it is the owner's.
bool EndsWithContent(const char* attribute, bool ownerKept) {
    return std::strcmp(attribute, "security.ima") == 0 || std::strcmp(attribute, "security.evm") == 0 ||
           (std::strcmp(attribute, "security.capability") == 0 && !ownerKept);
}

// Whether a new file is the old one's owner's, and its group's.
struct Ownership {
    bool owner;
    bool group;
};

Ownership GiveOwner(int out, const struct stat& now, const struct stat& old) {
    Ownership kept = {now.st_uid == old.st_uid, now.st_gid == old.st_gid};
    if (kept.owner && kept.group) return kept;
    const bool both = fchown(out, old.st_uid, old.st_gid) == 0;
    kept.owner = kept.owner || both;
    kept.group = kept.group || both || fchown(out, static_cast<uid_t>(-1), old.st_gid) == 0;
    return kept;
}

Given GiveAttributes(int out, int old, Ownership kept, char* attribute) {
    const Attributes all(old);
    if (!all.Known()) return Given::Failed;
    bool hasList = false;
    for (const char* at = all.Next(""); *at; at = all.Next(at)) {
        const bool isList = std::strcmp(at, AccessList) == 0;
        hasList = hasList || isList;
        if (EndsWithContent(at, kept.owner)) continue;
        bool given = all.Give(out, at);
        if (isList && !kept.group) { // it speaks of a group that the new file does not have
            errno = EPERM;
            given = false;
        }
        if (given || !MustBeKept(at)) continue;
        std::snprintf(attribute, XATTR_NAME_MAX + 1, "%s", at);
        return Given::Attribute;
    }
    // One that the new file has from its directory would give more than the old file gave.
    if (hasList || fremovexattr(out, AccessList) == 0 || errno == ENODATA || errno == ENOTSUP) return Given::Done;
    std::strcpy(attribute, AccessList);
    return Given::Attribute;
}

} // namespace

bool LimitCopy(int out, const struct stat& made, int in, const struct stat& source) {
    const mode_t bits = AccessBits(out, made) & AccessBitsFor(made.st_gid, in, source);
    return (!HasAccessList(out) && bits == (made.st_mode & 07777)) || SetDraftAccess(out, bits);
}

bool LimitTarget(int out, const struct stat& target, int in, const struct stat& source) {
    const mode_t bits = AccessBits(out, target) & (AccessBitsFor(target.st_gid, in, source) | 0700);
    if (!HasAccessList(out) && bits == (target.st_mode & 07777)) return true;
    return SetAccess(out, bits) || (errno == EPERM && (target.st_mode & ~bits & 044) == 0);
}

bool GiveForMove(int out, const struct stat& made, int in, const struct stat& source) {
    const Attributes all(in);
    if (!all.Known() && errno == ENOMEM) return false;
    const bool listed = HasAccessList(in);
    const Ownership kept = GiveOwner(out, made, source);
    const bool keepsList = kept.group && listed && all.Known() && all.Give(out, AccessList);
    for (const char* at = all.Next(""); *at; at = all.Next(at)) {
        if (std::strcmp(at, AccessList) != 0) all.Give(out, at);
    }
    const mode_t special = kept.owner ? source.st_mode & 07000 : 0;
    if (keepsList) return fchmod(out, special | (source.st_mode & 0777)) == 0;
    return SetDraftAccess(out, special | AccessBitsFor(kept.group ? source.st_gid : made.st_gid, in, source));
}

Given GiveForReplacement(int out, int old, char* attribute, bool* narrowed) {
    struct stat before;
    struct stat now;
    if (fstat(old, &before) != 0 || fstat(out, &now) != 0) return Given::Failed;
    const Ownership kept = GiveOwner(out, now, before);
    mode_t mode = before.st_mode & 07777;
    if (!kept.owner) mode &= ~static_cast<mode_t>(S_ISUID); // a program would run with our rights instead
    if (!kept.group) {
        const mode_t common = (mode >> 3) & mode & 7; // of the old group, and of everybody else
        mode = (mode & 01700) | common << 3 | common | (mode & S_ISUID);
    }
    *narrowed = !kept.group && (mode & 077) != (before.st_mode & 077);
    const Given given = GiveAttributes(out, old, kept, attribute); // first: to the mode, the list's mask is the group
    if (given != Given::Done) return given;
    if (fstat(out, &now) != 0) return Given::Failed;
    return (now.st_mode & 07777) == mode || fchmod(out, mode) == 0 ? Given::Done : Given::Failed;
}

} // namespace vfile_internal::platform
