/// @file
/// For hosts that like the C++ standard library: a VFile as a range with random-access iterators, as a stream buffer,
/// and with std::string and std::string_view as arguments and results. All of it is compiled into the host: no type of
/// the C++ library crosses the border of this one, which the host may have been built against with another.
#pragma once

#include "vfile_view.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <limits>
#include <streambuf>
#include <string>
#include <string_view>

namespace vfile {

/// @name Text
/// Where a VFileView is asked for, a `VFile&` or a `const VFile&` will do; it tells the difference. What its operations
/// refuse counts as no bytes.
/// @{

/// The `count` bytes of the content from `from` on, as far as there are any.
VFILE_LOCAL inline std::string ToString(VFileView f, std::int32_t from = 0, std::int32_t count = MaxLen) {
    std::string s;
    if (from < 0 || count < 0 || from >= f.Length()) return s;
    s.resize(static_cast<std::size_t>(std::min(count, f.Length() - from)));
    s.resize(static_cast<std::size_t>(f.Read(from, &s[0], static_cast<std::int32_t>(s.size()))));
    return s;
}

/// VFile::ReplaceBuf with the bytes of `s`: true if `f.res` is resDone afterwards. More than a content can hold is
/// resTooLong.
VFILE_LOCAL inline bool Replace(VFile& f, std::int32_t at, std::int32_t oldLen, std::string_view s) {
    if (s.size() <= static_cast<std::size_t>(MaxLen)) {
        f.ReplaceBuf(at, oldLen, s.data(), static_cast<int>(s.size()));
    } else if (f.res == resDone) {
        f.res = resTooLong;
    }
    return f.res == resDone;
}

/// Puts `s` in at the position; so the three below, each at its place: a position, the end, the start.
VFILE_LOCAL inline bool Insert(VFile& f, std::string_view s) {
    return Replace(f, f.GetPos(), 0, s);
}
VFILE_LOCAL inline bool InsertAt(VFile& f, std::int32_t at, std::string_view s) {
    return Replace(f, at, 0, s);
}
VFILE_LOCAL inline bool Append(VFile& f, std::string_view s) {
    return Replace(f, f.Length(), 0, s);
}
VFILE_LOCAL inline bool Prepend(VFile& f, std::string_view s) {
    return Replace(f, 0, 0, s);
}

/// VFileView::Find and FindBack: where the bytes of `s` lie first, or last, within the bytes from `from` up to `to`; -1
/// if they lie nowhere there.
VFILE_LOCAL inline std::int32_t Find(VFileView f, std::string_view s, std::int32_t from = 0, std::int32_t to = MaxLen,
                                     bool ignoreCase = false) {
    if (s.size() > static_cast<std::size_t>(MaxLen)) return -1;
    return f.Find(s.empty() ? "" : s.data(), static_cast<std::int32_t>(s.size()), from, to, ignoreCase);
}
VFILE_LOCAL inline std::int32_t FindBack(VFileView f, std::string_view s, std::int32_t from = 0,
                                         std::int32_t to = MaxLen, bool ignoreCase = false) {
    if (s.size() > static_cast<std::size_t>(MaxLen)) return -1;
    return f.FindBack(s.empty() ? "" : s.data(), static_cast<std::int32_t>(s.size()), from, to, ignoreCase);
}

/// VFileView::Compare: -1, 0 or 1, of the whole content or of a range of it with `s`.
VFILE_LOCAL inline int Compare(VFileView f, std::int32_t from, std::int32_t count, std::string_view s) {
    const std::size_t n = std::min(s.size(), static_cast<std::size_t>(MaxLen)); // no content is longer
    const int order = f.Compare(from, count, s.data(), static_cast<std::int32_t>(n));
    return order == 0 && n < s.size() ? -1 : order;
}
VFILE_LOCAL inline int Compare(VFileView f, std::string_view s) {
    return Compare(f, 0, MaxLen, s);
}
/// @}

/// Bytes: the content as a range of `char` for algorithms and for `for`. It reads ahead, four pieces of 1024 bytes at
/// most, so that going through it, or through two places of it by turns, copies each piece once.
///
/// A byte comes by value: there are no references into a content, and nothing can be assigned. What an iterator gives
/// outside of the content is 0. A change of the content ends the use of the range and of its iterators, as that of a
/// std::string does; then make another one. They belong to the object's thread.
class Bytes {
  public:
    /// A place in the content, of random access but for `operator->`. It refers to its range, which stays where it is.
    class Iterator {
      public:
        using iterator_category = std::random_access_iterator_tag; ///< all of them but writing
        using value_type = char;                                   ///< a byte
        using difference_type = std::ptrdiff_t;                    ///< bytes from one to another
        using pointer = void;                                      ///< there is none
        using reference = char;                                    ///< by value

        /// Of no range; good for assignment only.
        Iterator() = default;
        /// At this position.
        VFILE_LOCAL Iterator(const Bytes& bytes, std::int32_t position) : range(&bytes), at(position) {}

        /// The position in the content.
        VFILE_LOCAL std::int32_t Position() const { return at; }

        /// @name A random-access iterator
        /// @{

        /// What it means for each of them.
        VFILE_LOCAL char operator*() const { return range->At(at); }
        VFILE_LOCAL char operator[](difference_type n) const { return *(*this + n); }
        VFILE_LOCAL Iterator& operator++() { return *this += 1; }
        VFILE_LOCAL Iterator& operator--() { return *this -= 1; }
        VFILE_LOCAL Iterator operator++(int) { return {*range, at++}; }
        VFILE_LOCAL Iterator operator--(int) { return {*range, at--}; }
        VFILE_LOCAL Iterator& operator+=(difference_type n) {
            at = static_cast<std::int32_t>(at + n);
            return *this;
        }
        VFILE_LOCAL Iterator& operator-=(difference_type n) { return *this += -n; }
        /// @}

        VFILE_LOCAL friend Iterator operator+(Iterator i, difference_type n) { return i += n; }
        VFILE_LOCAL friend Iterator operator+(difference_type n, Iterator i) { return i += n; }
        VFILE_LOCAL friend Iterator operator-(Iterator i, difference_type n) { return i -= n; }
        VFILE_LOCAL friend difference_type operator-(Iterator a, Iterator b) { return difference_type{a.at} - b.at; }
        VFILE_LOCAL friend bool operator==(Iterator a, Iterator b) { return a.at == b.at; }
        VFILE_LOCAL friend bool operator!=(Iterator a, Iterator b) { return a.at != b.at; }
        VFILE_LOCAL friend bool operator<(Iterator a, Iterator b) { return a.at < b.at; }
        VFILE_LOCAL friend bool operator>(Iterator a, Iterator b) { return a.at > b.at; }
        VFILE_LOCAL friend bool operator<=(Iterator a, Iterator b) { return a.at <= b.at; }
        VFILE_LOCAL friend bool operator>=(Iterator a, Iterator b) { return a.at >= b.at; }

      private:
        const Bytes* range = nullptr;
        std::int32_t at = 0;
    };

    using value_type = char;                                        ///< a byte
    using size_type = std::size_t;                                  ///< a number of bytes
    using const_iterator = Iterator;                                ///< there is no other kind
    using iterator = Iterator;                                      ///< the same
    using const_reverse_iterator = std::reverse_iterator<Iterator>; ///< from the end
    using reverse_iterator = const_reverse_iterator;                ///< the same

    /// Of the whole content.
    VFILE_LOCAL explicit Bytes(VFileView f) : view(f), size_(f.Length()) {}
    Bytes(const Bytes&) = delete;
    Bytes& operator=(const Bytes&) = delete;

    /// @name A range
    /// @{

    /// What it means for every container.
    VFILE_LOCAL Iterator begin() const { return {*this, 0}; }
    VFILE_LOCAL Iterator end() const { return {*this, size_}; }
    VFILE_LOCAL Iterator cbegin() const { return begin(); }
    VFILE_LOCAL Iterator cend() const { return end(); }
    VFILE_LOCAL reverse_iterator rbegin() const { return reverse_iterator(end()); }
    VFILE_LOCAL reverse_iterator rend() const { return reverse_iterator(begin()); }
    VFILE_LOCAL size_type size() const { return static_cast<size_type>(size_); }
    VFILE_LOCAL bool empty() const { return size_ == 0; }
    VFILE_LOCAL char operator[](size_type i) const { return At(static_cast<std::int32_t>(i)); }
    /// @}

  private:
    static constexpr std::int32_t PieceSize = 1024, Pieces = 4;

    struct Piece {
        std::int32_t number = -1; // of its first byte, in pieces
        char bytes[PieceSize];
    };

    // Positions below 0 are far beyond the end here.
    VFILE_LOCAL char At(std::int32_t at) const {
        const auto place = static_cast<std::uint32_t>(at);
        Piece& piece = pieces[place / PieceSize % Pieces];
        if (piece.number != static_cast<std::int32_t>(place / PieceSize)) return Fetched(piece, at);
        return piece.bytes[place % PieceSize];
    }

    VFILE_LOCAL char Fetched(Piece& piece, std::int32_t at) const {
        if (at < 0 || at >= size_) return '\0';
        piece.number = -1; // an override may throw
        const std::int32_t from = at - at % PieceSize;
        const std::int32_t got = view.Read(from, piece.bytes, PieceSize);
        std::fill(piece.bytes + got, piece.bytes + PieceSize, '\0');
        piece.number = at / PieceSize;
        return piece.bytes[at % PieceSize];
    }

    mutable VFileView view;
    std::int32_t size_;
    mutable Piece pieces[Pieces];
};

/// StreamBuf: a content below `std::istream`, `std::ostream` and `std::iostream`, seeking included.
///
///     vfile::StreamBuf buffer(text);
///     std::iostream stream(&buffer);
///
/// It has one position for reading and writing, its own, as a file has; seeking goes to any place from 0 to the end,
/// and fails for all others. Reading looks at the object as a VFileView does. Writing overwrites, or inserts if
/// vfInsert is on, by one ReplaceBuf for up to 1024 bytes or for a larger piece as it comes; after the end, and
/// everywhere with std::ios_base::app, it appends. std::ios_base::ate begins at the end, and trunc takes the old
/// content away.
///
/// What has been written reaches the object when the buffer is full, before a seek and a read, by `std::flush`, and
/// with the destructor; until then hooks know nothing of it. What has been read ahead, 1024 bytes at most, is read anew
/// after a seek or a `sync`: a host that changes the content by other ways does one of these after it.
///
/// A write that the object refuses fails, and the stream turns bad: the object's `res` says why, and as long as it is
/// set, writing fails. It belongs to the object's thread, and ends before the object.
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wweak-vtables" // it has no source to stand in
#endif
class StreamBuf : public std::streambuf {
  public:
    /// Reads and writes; without `out` in `mode` it only reads, and without `in` it only writes.
    VFILE_LOCAL explicit StreamBuf(VFile& f, std::ios_base::openmode mode = std::ios_base::in | std::ios_base::out)
        : view(f), file(mode & (std::ios_base::out | std::ios_base::app) ? &f : nullptr),
          reads((mode & std::ios_base::in) != 0), appends((mode & std::ios_base::app) != 0), at(0) {
        if (file && (mode & std::ios_base::trunc)) Replace(f, 0, MaxLen, {});
        if (mode & std::ios_base::ate) at = view.Length();
    }
    /// Reads what is stored.
    VFILE_LOCAL explicit StreamBuf(const VFile& f) : view(f), file(nullptr), reads(true), appends(false), at(0) {}

    /// Hands over what is left, as `std::flush` does. What a hook throws meanwhile is lost.
    VFILE_LOCAL ~StreamBuf() override {
#if defined(__cpp_exceptions)
        try {
            Settle();
        } catch (...) {
        }
#else
        Settle();
#endif
    }
    StreamBuf(const StreamBuf&) = delete;
    StreamBuf& operator=(const StreamBuf&) = delete;

  private:
    // What the base class asks of every stream buffer.
    VFILE_LOCAL int_type underflow() override {
        if (!reads || !Settle()) return Eof();
        return Fetch(at) ? traits_type::to_int_type(*gptr()) : Eof();
    }

    VFILE_LOCAL std::streamsize xsgetn(char* to, std::streamsize n) override {
        if (n < BufferSize) return std::streambuf::xsgetn(to, n);
        const std::streamsize done = std::min<std::streamsize>(n, egptr() - gptr());
        if (done > 0) {
            traits_type::copy(to, gptr(), static_cast<std::size_t>(done));
            gbump(static_cast<int>(done));
        }
        if (done == n || !reads || !Settle()) return done;
        const std::int32_t got = view.Read(at, to + done, Cut(n - done));
        at += got;
        return done + got;
    }

    VFILE_LOCAL std::streamsize showmanyc() override {
        const std::streamsize left = reads ? view.Length() - Place() : 0;
        return left > 0 ? left : -1;
    }

    VFILE_LOCAL int_type pbackfail(int_type c) override {
        const bool any = traits_type::eq_int_type(c, Eof());
        if (!reads || !Settle() || at == 0) return Eof();
        const std::int32_t behind = at;
        const std::int32_t from = std::max(behind - BufferSize / 2, 0);
        at = from;
        if (!Fetch(from) || egptr() - eback() < behind - from) {
            setg(nullptr, nullptr, nullptr);
            at = behind;
            return Eof();
        }
        gbump(behind - from - 1);
        if (any || traits_type::eq(traits_type::to_char_type(c), *gptr())) return traits_type::not_eof(c);
        gbump(1);
        return Eof();
    }

    VFILE_LOCAL int_type overflow(int_type c) override {
        if (!file || !Settle()) return Eof();
        setp(buffer, buffer + BufferSize);
        if (!traits_type::eq_int_type(c, Eof())) {
            *pptr() = traits_type::to_char_type(c);
            pbump(1);
        }
        return traits_type::not_eof(c);
    }

    VFILE_LOCAL std::streamsize xsputn(const char* from, std::streamsize n) override {
        if (n <= 0 || !file) return 0;
        if (n >= BufferSize) {
            const std::int32_t count = Cut(n);
            return Settle() && Put(from, count) ? count : 0;
        }
        if (epptr() - pptr() < n && traits_type::eq_int_type(overflow(Eof()), Eof())) return 0;
        traits_type::copy(pptr(), from, static_cast<std::size_t>(n));
        pbump(static_cast<int>(n));
        return n;
    }

    VFILE_LOCAL pos_type seekoff(off_type off, std::ios_base::seekdir way, std::ios_base::openmode) override {
        if (off == 0 && way == std::ios_base::cur && !appends) return pos_type(off_type(Place()) + (pptr() - pbase()));
        if (!Settle()) return pos_type(off_type(-1));
        const off_type base = way == std::ios_base::beg ? 0 : way == std::ios_base::cur ? at : view.Length();
        if (off < -base || off > view.Length() - base) return pos_type(off_type(-1));
        at = static_cast<std::int32_t>(base + off);
        return pos_type(off_type(at));
    }

    VFILE_LOCAL pos_type seekpos(pos_type to, std::ios_base::openmode mode) override {
        return seekoff(off_type(to), std::ios_base::beg, mode);
    }

    VFILE_LOCAL int sync() override {
        return Settle() ? 0 : -1;
    }

    static constexpr int BufferSize = 1024;

    VFILE_LOCAL static int_type Eof() {
        return traits_type::eof();
    }
    VFILE_LOCAL static std::int32_t Cut(std::streamsize n) {
        return static_cast<std::int32_t>(std::min<std::streamsize>(n, std::numeric_limits<std::int32_t>::max()));
    }

    // Where reading stands.
    VFILE_LOCAL std::int32_t Place() const {
        return at - static_cast<std::int32_t>(egptr() - gptr());
    }

    // Fills the buffer from a place on, for reading; `at` is after it then. False if there is nothing.
    VFILE_LOCAL bool Fetch(std::int32_t from) {
        const std::int32_t got = view.Read(from, buffer, BufferSize);
        setg(buffer, buffer, buffer + got);
        at = from + got;
        return got > 0;
    }

    // Leaves the buffer empty, with `at` the position. False if what it held could not be written.
    VFILE_LOCAL bool Settle() {
        at = Place();
        setg(nullptr, nullptr, nullptr);
        const auto n = static_cast<std::int32_t>(pptr() - pbase());
        setp(nullptr, nullptr);
        return n == 0 || Put(buffer, n);
    }

    VFILE_LOCAL bool Put(const char* from, std::int32_t n) {
        if (appends || at > file->Length()) at = file->Length();
        const std::int32_t oldLen = appends || file->FlagOn(vfInsert) ? 0 : n;
        file->ReplaceBuf(at, oldLen, from, n);
        if (file->res != resDone) return false;
        at += n;
        return true;
    }

    VFileView view;
    VFile* file; // null if it only reads
    bool reads;
    bool appends;
    std::int32_t at; // after what the buffer holds for reading, before what it holds for writing
    char buffer[BufferSize];
};
#if defined(__clang__)
#pragma clang diagnostic pop
#endif

} // namespace vfile
