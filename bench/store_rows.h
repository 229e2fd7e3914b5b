// The rows of stores of a fixed size that lie on disk behind a cache, the same for every contender. A Store has:
//   Store(const Job& job)
//   static constexpr int Piece                  of bulk transfers, that suits it
//   void Write(int64 at, const char* bytes, int n), void Read(int64 at, char* dst, int n)
//   void WriteByte(int64 at, char byte), char ReadByte(int64 at)
//   void Flush()                                hands all changes to the system
#pragma once

#include "harness.h"

#include <cstring>

namespace bench {

template <class Store>
void WriteAll(Store& store, const Text& text, std::int64_t size, int piece = Store::Piece) {
    for (std::int64_t p = 0; p < size; p += piece)
        store.Write(p, text.At(p), static_cast<int>(size - p < piece ? size - p : piece));
}

template <class Store>
void ReadAll(Store& store, const Text& text, std::int64_t size, bool check) {
    static char piece[PieceSize];
    for (std::int64_t p = 0; p < size; p += Store::Piece) {
        const int n = static_cast<int>(size - p < Store::Piece ? size - p : Store::Piece);
        store.Read(p, piece, n);
        if (check) Check(std::memcmp(piece, text.At(p), static_cast<std::size_t>(n)) == 0, "the stored bytes differ");
    }
}

// MB/s of writing all of it, or in pieces of 100 bytes.
template <class Store, int Piece = Store::Piece>
double SeqWrite(const Job& job) {
    const Text text;
    Store store(job);
    const double seconds = Seconds([&] { WriteAll(store, text, job.size, Piece); });
    ReadAll(store, text, job.size, true);
    return MBps(job.size, seconds);
}

// MB/s of reading all of it.
template <class Store>
double SeqRead(const Job& job) {
    const Text text;
    Store store(job);
    WriteAll(store, text, job.size);
    store.Flush();
    const double seconds = Repeated(job, [&] { ReadAll(store, text, job.size, false); });
    ReadAll(store, text, job.size, true);
    return MBps(job.size, seconds);
}

// ns per read of one byte at a random place.
template <class Store>
double RandRead(const Job& job) {
    const Text text;
    Store store(job);
    WriteAll(store, text, job.size);
    store.Flush();
    Random random(5);
    long done = 0, wrong = 0;
    const double nanos = NanosPerOp(job, 500000, done, [&] {
        for (int i = 0; i < BatchSize; ++i) {
            const std::int64_t p = random.Below(job.size);
            if (store.ReadByte(p) != *text.At(p)) ++wrong;
        }
    });
    Check(wrong == 0, "a byte read at random");
    return nanos;
}

// ns per overwrite of one byte at a random place, once the cache is full of changes; with all of it read before, or
// not.
template <class Store, bool ReadBefore>
double RandWrite(const Job& job) {
    const Text text;
    Store store(job);
    WriteAll(store, text, job.size);
    store.Flush();
    if (ReadBefore) ReadAll(store, text, job.size, true);
    Random random(6);
    long done = 0;
    std::vector<std::int64_t> places;
    const auto batch = [&] {
        for (int i = 0; i < BatchSize; ++i) {
            places.push_back(random.Below(job.size));
            store.WriteByte(places.back(), static_cast<char>(~*text.At(places.back())));
        }
    };
    places.reserve(1 << 20);
    for (int i = 0; i < 200; ++i) batch();
    const double nanos = NanosPerOp(job, 500000, done, batch);
    for (const std::int64_t p : places)
        Check(store.ReadByte(p) == static_cast<char>(~*text.At(p)), "a byte written at random");
    return nanos;
}

template <class Store>
Rows StoreRows() {
    return {{"seqwrite", SeqWrite<Store>, ""},
            {"seqread", SeqRead<Store>, ""},
            {"randread", RandRead<Store>, ""},
            {"randwrite", RandWrite<Store, false>, ""},
            {"overwrite", RandWrite<Store, true>, ""}};
}

} // namespace bench
