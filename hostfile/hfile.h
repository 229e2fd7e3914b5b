/// @file
/// HFile: a thin object over one host file, and operations on file names and on the file system.
#pragma once

#include "foundation/result.h"
#include "platform/platform.h"

#include <cstdint>

/// One open host file.
class VFILE_API HFile {
  public:
    HFile();
    explicit HFile(FileHandle h);
    virtual ~HFile();
    HFile(const HFile&) = delete;
    HFile& operator=(const HFile&) = delete;

    bool Open(const char* name);
    bool OpenSeqRead(const char* name);
    bool Create(const char* name, bool overwrite);
    bool CreateSeqWrite(const char* name, bool overwrite);
    bool Lookup(const char* name, bool create);
    void Close();
    bool IsOpen() const;

    int ReadBytes(void* buf, int count);
    void WriteBytes(const void* buf, int count);
    std::int32_t GetPos() const;
    void SetPos(std::int32_t pos);
    void SetPos(std::int32_t offset, int origin);
    void Reset();
    std::int32_t Length() const;
    void Truncate();
    void Flush();

    static void GetResMsg(char* buf, unsigned int size, Res code);

    Res res;
    bool eof;
    std::int32_t base;
    FileHandle handle;

  private:
    void Init();
    bool MayOpen();
    bool Opened(FileHandle h);
    void SetPosChecked(std::int64_t pos);
    static Res GetFileRes();

    std::int32_t heldBack; // a byte that ReadLine has read too far on a pipe, delivered first by the next read; else -1
};

/// The result of a host file: its `res` if that is 0 to 24, else resNotDone.
VFILE_API Res GetFileRes(const HFile& file);
