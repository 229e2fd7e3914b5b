// A derived object that writes down each virtual operation as it is called, the ones inside of others too.
#pragma once

#include "vfile/vfile.h"

#include <string>

class CallRecorder : public VFile {
  public:
    using VFile::VFile;
    std::string calls;

    void SetPos(std::int32_t p) override { Note("SetPos", {p}), VFile::SetPos(p); }
    void ReadByte(unsigned char& b) override { Note("next", {}), VFile::ReadByte(b); }
    void ReadPrevByte(unsigned char& b) override { Note("prev", {}), VFile::ReadPrevByte(b); }
    int ReadBytes(void* dst, int n) override { return Note("ReadBytes", {n}), VFile::ReadBytes(dst, n); }
    void ReplaceBuf(std::int32_t at, std::int32_t oldLen, const void* src, int n) override {
        Note("ReplaceBuf", {at, oldLen, n}), VFile::ReplaceBuf(at, oldLen, src, n);
    }
    void ReplaceCh(std::int32_t at, std::int32_t oldLen, char ch, int n) override {
        Note("ReplaceCh", {at, oldLen, n}), VFile::ReplaceCh(at, oldLen, ch, n);
    }
    void ReplaceTxt(std::int32_t at, std::int32_t oldLen, const VFile& src, std::int32_t p, std::int32_t n) override {
        Note("ReplaceTxt", {at, oldLen, p, n}), VFile::ReplaceTxt(at, oldLen, src, p, n);
    }
    void ReplaceFile(std::int32_t at, std::int32_t oldLen, HFile& f, std::int32_t n) override {
        Note("ReplaceFile", {at, oldLen, n}), VFile::ReplaceFile(at, oldLen, f, n);
    }
    void ReplaceFile(std::int32_t at, std::int32_t oldLen, FileHandle h, std::int32_t n) override {
        Note("ReplaceHandle", {at, oldLen, n}), VFile::ReplaceFile(at, oldLen, h, n);
    }

  private:
    void Note(const char* name, std::initializer_list<std::int32_t> args) {
        calls += name;
        for (const std::int32_t a : args) {
            calls += " " + (a == SameLen ? "same" : a == MaxLen ? "max" : std::to_string(a));
        }
        calls += "; ";
    }
};
