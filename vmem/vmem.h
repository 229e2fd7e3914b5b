/// @file
/// VMem: a paged virtual memory with a bounded cache and a swap file that is made only when it is needed.
#pragma once

#include "platform/platform.h"

#include <cstdint>

struct CacheDesc;

namespace vfile_internal {
class VMemCheck;
}

/// A flat space of bytes, addressed by 32-bit signed numbers, of which a bounded number of pages stays in RAM.
class VFILE_API VMem {
  public:
    static constexpr std::int32_t PageSize = 1024;

    VMem();
    ~VMem();
    VMem(const VMem&) = delete;
    VMem& operator=(const VMem&) = delete;

    void Get(std::int32_t adr, void* buf, std::int16_t len);
    void Set(std::int32_t adr, const void* buf, std::int16_t len);

    void Get(std::int32_t adr, char& value);
    void Get(std::int32_t adr, signed char& value);
    void Get(std::int32_t adr, unsigned char& value);
    void Get(std::int32_t adr, short& value);
    void Get(std::int32_t adr, unsigned short& value);
    void Get(std::int32_t adr, int& value);
    void Get(std::int32_t adr, unsigned int& value);
    void Get(std::int32_t adr, long& value);
    void Get(std::int32_t adr, unsigned long& value);
    void Get(std::int32_t adr, long long& value);
    void Get(std::int32_t adr, unsigned long long& value);
    void Get(std::int32_t adr, float& value);
    void Get(std::int32_t adr, double& value);
    void Get(std::int32_t adr, long double& value);
    void Get(std::int32_t adr, void*& value);
    void Set(std::int32_t adr, char value);
    void Set(std::int32_t adr, signed char value);
    void Set(std::int32_t adr, unsigned char value);
    void Set(std::int32_t adr, short value);
    void Set(std::int32_t adr, unsigned short value);
    void Set(std::int32_t adr, int value);
    void Set(std::int32_t adr, unsigned int value);
    void Set(std::int32_t adr, long value);
    void Set(std::int32_t adr, unsigned long value);
    void Set(std::int32_t adr, long long value);
    void Set(std::int32_t adr, unsigned long long value);
    void Set(std::int32_t adr, float value);
    void Set(std::int32_t adr, double value);
    void Set(std::int32_t adr, long double value);
    void Set(std::int32_t adr, void* value);

    void CopyBytes(std::int32_t dst, std::int32_t src, std::int16_t len);

    std::int16_t GetCacheSize();
    std::int16_t GetMaxCacheSize();
    void SetMaxCacheSize(std::int16_t kb);
    const char* GetTempDir();
    void SetTempDir(const char* dir);
    void FlushCache();
    void ReleaseCache();
    void WriteStatus();

    void Alloc(std::int32_t& adr, std::int16_t len);
    void AllocPage(std::int32_t& adr);
    void Dealloc(std::int32_t& adr, std::int16_t len);
    void DeallocPage(std::int32_t& adr);
    void DeallocAll();

  private:
    friend class vfile_internal::VMemCheck;
};
