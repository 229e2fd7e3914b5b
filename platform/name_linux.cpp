// File names on their way to Linux.
#include "platform/name_linux.h"

#include "platform/error.h"
#include "platform/platform.h"

#include <cstdio>
#include <cstring>

namespace vfile_internal::platform {

SystemName::SystemName(const char* name) : ok(false) {
    const std::size_t n = name ? strnlen(name, sizeof text) : 0;
    if (!name || n >= sizeof text) {
        text[0] = '\0';
        SetLastError(name ? ErrorInvalidName : ErrorInvalidParameter);
        return;
    }
    for (std::size_t i = 0; i < n; ++i) text[i] = name[i] == '\\' ? '/' : name[i];
    text[n] = '\0';
    ok = true;
}

void ParentOf(char* parent, const char* name) {
    std::size_t n = std::strlen(name);
    while (n > 1 && name[n - 1] == '/') --n;
    while (n > 0 && name[n - 1] != '/') --n;
    while (n > 1 && name[n - 1] == '/') --n;
    std::snprintf(parent, PATH_MAX, "%.*s", static_cast<int>(n), n > 0 ? name : "");
    if (n == 0) std::snprintf(parent, PATH_MAX, ".");
}

} // namespace vfile_internal::platform
