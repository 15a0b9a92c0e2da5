// Lintel::RingBuf: the ring of binary trace records of one level of a trace file.
//
// A record is written in three steps: startMsg reserves it whole (header and
// payload, whose size the caller computes first), operator<< and put append the
// arguments as raw bytes (directly, or through a local RecordCursor), endMsg
// closes it. Nothing is formatted and nothing is
// locked. When the ring is full, the oldest records are overwritten.
//
// Record layout
// -------------
// Host byte order; every record starts at a multiple of 8 bytes and never wraps
// around the end of the buffer:
//   u32 size    bytes of the record: header, payload and padding to 8
//   u32 msgId   message number; 0 marks filler up to the end of the buffer
//   u64 seq     the record's sequence number in its trace file
//   payload     the arguments in order, by type letter:
//                 p  u16 length, then the bytes (no terminator)
//                 b  1 byte, 0 or 1
//                 s  2 bytes
//                 i  4 bytes
//                 l  8 bytes
//
// Invariants:
// (1) tail_ <= head_ <= tail_ + capacity(); [tail_, head_) holds whole records.
// (2) A record is at most capacity() bytes; a larger one is dropped and counted.
//
// Thread safety
// -------------
// One writer at a time, and no reader while it writes: a ring belongs to its
// trace file, which belongs to one thread (see Lintel::TraceHandle).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "Fen/Assert.h"

namespace Lintel {

class TraceFile;

// Longest string a record carries; longer ones are cut.
inline constexpr std::size_t stringBytesMax = 0xFFFF;

// Where the arguments of an open record go: the next byte and the end of the
// reserved space. A writer that appends many arguments keeps one in a local
// variable (RingBuf::cursor()), so that the compiler holds it in registers.
struct RecordCursor {
   char* at = nullptr;
   char* end = nullptr;

   template <class T>
   void raw(T v) {
      FEN_ASSERT(end - at >= static_cast<std::ptrdiff_t>(sizeof v));
      std::memcpy(at, &v, sizeof v);
      at += sizeof v;
   }
   // Copies n bytes; short strings (interface names) take a few fixed-size
   // moves instead of a call.
   void bytes(char const* s, std::size_t n) {
      FEN_ASSERT(end - at >= static_cast<std::ptrdiff_t>(n));
      if (n >= 8 && n <= 16) {
         std::memcpy(at, s, 8);
         std::memcpy(at + n - 8, s + n - 8, 8);
      } else if (n >= 4 && n < 8) {
         std::memcpy(at, s, 4);
         std::memcpy(at + n - 4, s + n - 4, 4);
      } else if (n > 16) {
         std::memcpy(at, s, n);
      } else {
         for (std::size_t i = 0; i < n; ++i)
            at[i] = s[i];
      }
      at += n;
   }
   // A string: its length (at most stringBytesMax) and its bytes.
   void put(std::string_view s) {
      std::size_t const n = s.size() < stringBytesMax ? s.size() : stringBytesMax;
      raw(static_cast<std::uint16_t>(n));
      bytes(s.data(), n);
   }
};

class RingBuf {
public:
   static constexpr std::size_t headerBytes = 16;
   static constexpr std::size_t recordAlignment = 8;
   static constexpr std::size_t capacityMin = 64;
   static constexpr std::size_t capacityMax = std::size_t{1} << 30;
   static constexpr std::size_t stringBytesMax = Lintel::stringBytesMax;

   struct Record {
      int msgId;
      std::uint64_t seq;
      // The arguments, followed by up to 7 bytes of padding.
      std::string_view payload;
   };

   // A ring of `capacity` bytes (see capacityIs); 0 makes a closed ring. The
   // buffer itself is allocated at the first record.
   explicit RingBuf(std::size_t capacity = 0) { capacityIs(capacity); }
   RingBuf(RingBuf const&) = delete;
   RingBuf& operator=(RingBuf const&) = delete;

   // Bytes the ring holds at most; 0 when closed.
   std::size_t capacity() const { return capacity_; }
   bool closed() const { return capacity_ == 0; }
   // Drops every record and resizes: `bytes` rounded up to a power of two, at
   // least capacityMin, at most capacityMax; 0 closes the ring.
   void capacityIs(std::size_t bytes);

   // Opens a record of message `msgId` with `payloadBytes` bytes of arguments,
   // numbered by `file`. False when the ring is closed or the record does not
   // fit in it: then nothing may be appended and endMsg is not called.
   bool startMsg(TraceFile* file, int msgId, std::size_t payloadBytes);
   RingBuf& operator<<(bool v) { return raw(static_cast<std::uint8_t>(v ? 1 : 0)); }
   RingBuf& operator<<(std::uint8_t v) { return raw(v); }
   RingBuf& operator<<(std::uint16_t v) { return raw(v); }
   RingBuf& operator<<(std::uint32_t v) { return raw(v); }
   RingBuf& operator<<(std::uint64_t v) { return raw(v); }
   // Appends a string: its length (at most stringBytesMax) and its bytes.
   friend void put(RingBuf* ring, std::string_view s) { ring->cursor_.put(s); }
   friend void put(RingBuf* ring, char const* s) { put(ring, std::string_view(s ? s : "")); }
   // Bytes a string takes in a record.
   static std::size_t stringBytes(std::string_view s) {
      return 2 + (s.size() < stringBytesMax ? s.size() : stringBytesMax);
   }
   // Closes the record opened by startMsg; every reserved byte must be written.
   // (The padding was zeroed by startMsg.)
   void endMsg() {
      FEN_ASSERT(cursor_.end - cursor_.at < static_cast<std::ptrdiff_t>(recordAlignment));
   }
   // For a writer that appends through a local cursor: take it after startMsg,
   // and close the record with it.
   RecordCursor cursor() const { return cursor_; }
   void endMsg(RecordCursor const& c) {
      FEN_ASSERT(c.end == cursor_.end);
      cursor_ = c;
      endMsg();
   }

   // Calls f(Record const&) for each record held, oldest first.
   template <class F>
   void forEachRecord(F&& f) const {
      for (std::uint64_t pos = tail_; pos < head_;) {
         char const* p = buf_.get() + (pos & (capacity_ - 1));
         std::uint32_t const size = load<std::uint32_t>(p);
         std::uint32_t const msgId = load<std::uint32_t>(p + 4);
         if (msgId != 0) {
            f(Record{static_cast<int>(msgId), load<std::uint64_t>(p + 8),
                     std::string_view(p + headerBytes, size - headerBytes)});
         }
         pos += size;
      }
   }
   // Records held now.
   std::size_t records() const;
   // Records written since the ring was sized, overwritten by newer ones, and
   // dropped for being larger than the ring.
   std::uint64_t written() const { return written_; }
   std::uint64_t overwritten() const { return overwritten_; }
   std::uint64_t dropped() const { return dropped_; }

   // The records held, oldest first, without filler: what a saved file keeps.
   std::string contents() const;
   // Replaces the records with `bytes`, as contents() gave them, and sets the
   // counters. Raises Fen::RangeException if they are not whole records or do
   // not fit.
   void contentsIs(std::string_view bytes, std::uint64_t written, std::uint64_t overwritten,
                   std::uint64_t dropped);

   template <class T>
   static T load(char const* p) {
      T v;
      std::memcpy(&v, p, sizeof v);
      return v;
   }

private:
   template <class T>
   RingBuf& raw(T v) {
      cursor_.raw(v);
      return *this;
   }
   void allocate();
   // Advances the tail until `bytes` more fit.
   void roomIs(std::size_t bytes) {
      while (head_ + bytes - tail_ > capacity_) {
         char const* p = buf_.get() + (tail_ & (capacity_ - 1));
         if (load<std::uint32_t>(p + 4) != 0) ++overwritten_;
         tail_ += load<std::uint32_t>(p);
      }
   }
   void fillerIs();

   std::unique_ptr<char[]> buf_;
   std::size_t capacity_ = 0;
   std::uint64_t head_ = 0;
   std::uint64_t tail_ = 0;
   RecordCursor cursor_;
   std::uint64_t written_ = 0;
   std::uint64_t overwritten_ = 0;
   std::uint64_t dropped_ = 0;
};

}  // namespace Lintel
