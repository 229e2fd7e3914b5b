// A derived object that writes down each virtual operation that is called from outside of another one.
#pragma once

#include "vfile/vfile.h"

#include <string>

class CallRecorder : public VFile {
  public:
    using VFile::VFile;
    using VFile::operator=;
    using VFile::SetPos;
    std::string calls;

    void SetPos(std::int32_t p) override {
        const Call call(*this, "SetPos", {p});
        VFile::SetPos(p);
    }
    void ReadByte(unsigned char& b) override {
        const Call call(*this, "next", {});
        VFile::ReadByte(b);
    }
    void ReadPrevByte(unsigned char& b) override {
        const Call call(*this, "prev", {});
        VFile::ReadPrevByte(b);
    }
    int ReadBytes(void* dst, int n) override {
        const Call call(*this, "ReadBytes", {n});
        return VFile::ReadBytes(dst, n);
    }
    void ReplaceBuf(std::int32_t at, std::int32_t oldLen, const void* src, int n) override {
        const Call call(*this, "ReplaceBuf", {at, oldLen, n});
        VFile::ReplaceBuf(at, oldLen, src, n);
    }
    void ReplaceCh(std::int32_t at, std::int32_t oldLen, char ch, int count) override {
        const Call call(*this, "ReplaceCh", {at, oldLen, count});
        VFile::ReplaceCh(at, oldLen, ch, count);
    }
    void ReplaceTxt(std::int32_t at, std::int32_t oldLen, const VFile& src, std::int32_t from,
                    std::int32_t n) override {
        const Call call(*this, "ReplaceTxt", {at, oldLen, from, n});
        VFile::ReplaceTxt(at, oldLen, src, from, n);
    }
    void ReplaceFile(std::int32_t at, std::int32_t oldLen, HFile& f, std::int32_t count) override {
        const Call call(*this, "ReplaceFile", {at, oldLen, count});
        VFile::ReplaceFile(at, oldLen, f, count);
    }
    void ReplaceFile(std::int32_t at, std::int32_t oldLen, FileHandle h, std::int32_t count) override {
        const Call call(*this, "ReplaceHandle", {at, oldLen, count});
        VFile::ReplaceFile(at, oldLen, h, count);
    }

    static std::string Text(const char* name, std::initializer_list<std::int32_t> args) {
        std::string s = name;
        for (const std::int32_t a : args) {
            s += " " + (a == SameLen ? "same" : a == MaxLen ? "max" : std::to_string(a));
        }
        return s + "; ";
    }

  private:
    struct Call {
        Call(CallRecorder& f, const char* name, std::initializer_list<std::int32_t> args) : recorder(f) {
            if (recorder.depth++ == 0) recorder.calls += Text(name, args);
        }
        ~Call() { --recorder.depth; }
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;
        CallRecorder& recorder;
    };
    int depth = 0;
};
