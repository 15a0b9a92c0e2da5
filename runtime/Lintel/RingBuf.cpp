#include "Lintel/RingBuf.h"

#include <bit>

#include "Fen/Exception.h"

namespace Lintel {

void RingBuf::capacityIs(std::size_t bytes) {
   buf_.reset();
   capacity_ = 0;
   if (bytes != 0) {
      if (bytes > capacityMax) bytes = capacityMax;
      if (bytes < capacityMin) bytes = capacityMin;
      capacity_ = std::bit_ceil(bytes);
   }
   head_ = tail_ = 0;
   cursor_ = RecordCursor();
   written_ = overwritten_ = dropped_ = 0;
}

void RingBuf::allocate() {
   buf_.reset(new char[capacity_]());
}

// Pads from the head to the end of the buffer, so that the next record starts at
// the beginning. The gap is at least 8 bytes: room for size and msgId.
void RingBuf::fillerIs() {
   std::size_t const gap = capacity_ - (head_ & (capacity_ - 1));
   roomIs(gap);
   char* p = buf_.get() + (head_ & (capacity_ - 1));
   std::uint32_t const size = static_cast<std::uint32_t>(gap);
   std::uint32_t const none = 0;
   std::memcpy(p, &size, 4);
   std::memcpy(p + 4, &none, 4);
   head_ += gap;
}

std::size_t RingBuf::records() const {
   std::size_t n = 0;
   forEachRecord([&n](Record const&) { ++n; });
   return n;
}

std::string RingBuf::contents() const {
   std::string out;
   out.reserve(head_ - tail_);
   for (std::uint64_t pos = tail_; pos < head_;) {
      char const* p = buf_.get() + (pos & (capacity_ - 1));
      std::uint32_t const size = load<std::uint32_t>(p);
      if (load<std::uint32_t>(p + 4) != 0) out.append(p, size);
      pos += size;
   }
   return out;
}

void RingBuf::contentsIs(std::string_view bytes, std::uint64_t written, std::uint64_t overwritten,
                         std::uint64_t dropped) {
   std::size_t const capacity = capacity_;
   capacityIs(capacity);
   if (bytes.size() > capacity_) {
      Fen::throwRangeException(Fen::format("%zu bytes of records do not fit a ring of %zu bytes",
                                           bytes.size(), capacity_));
   }
   for (std::size_t pos = 0; pos < bytes.size();) {
      if (bytes.size() - pos < headerBytes) {
         Fen::throwRangeException(Fen::format("record at byte %zu is cut short", pos));
      }
      std::uint32_t const size = load<std::uint32_t>(bytes.data() + pos);
      std::uint32_t const msgId = load<std::uint32_t>(bytes.data() + pos + 4);
      if (size < headerBytes || size % recordAlignment != 0 || size > bytes.size() - pos) {
         Fen::throwRangeException(Fen::format("record at byte %zu has a bad size (%u)", pos,
                                              static_cast<unsigned>(size)));
      }
      if (msgId == 0 || msgId > 0x7FFFFFFFu) {
         Fen::throwRangeException(Fen::format("record at byte %zu has a bad message number (%u)",
                                              pos, static_cast<unsigned>(msgId)));
      }
      pos += size;
   }
   if (!bytes.empty()) {
      allocate();
      std::memcpy(buf_.get(), bytes.data(), bytes.size());
   }
   head_ = bytes.size();
   tail_ = 0;
   written_ = written;
   overwritten_ = overwritten;
   dropped_ = dropped;
}

}  // namespace Lintel
