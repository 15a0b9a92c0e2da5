// Lintel::TraceFile: the binary trace of one thread (or of a process that traces
// from one thread): one ring per level and the table of message descriptions
// its records refer to. It can be saved to a byte stream, loaded back, and
// rendered as text.
// Lintel::SavedTraceFile: a saved file read back only to be printed, as
// lintel-dump does: the descriptions and each level's records as saved.
//
// Saved form
// ----------
// Host byte order, announced by a byte-order word so that a loader on another
// order refuses the file instead of misreading it:
//   "LINTEL\0"                magic, 7 bytes
//   u8 2                      format version
//   u32 0x01020304            byte order
//   str name; u64 nextSeq
//   u32 count, then per description (ascending message numbers when saved;
//   any order is read):
//       u32 msgId, u32 line, str sourceFile, str types, str styles,
//       u32 typeNames (one per type), str typeName... (empty but for "e"),
//       u32 pieces, str piece...
//   u32 levelCount (32), then per level:
//       u64 capacity, u64 written, u64 overwritten, u64 dropped,
//       str records (RingBuf::contents())
// where str is u32 length and bytes. Several saved files may follow each other
// in one stream (one per thread). Files of version 1 are read too: their
// descriptions have no type names, and their arguments no "e".
//
// An "e" argument prints as its enumerator's name when this process reflects
// the enumeration its description names (Fen::fenType), and as its number
// otherwise: a file written by a build with other enumerations still prints.
//
// Reading a file
// --------------
// Lengths and counts that a file claims are checked against the format's
// bounds and then read in pieces of at most 64 KiB, so that memory grows only
// with the bytes actually there: a short file that claims a 1 GiB ring is
// refused as cut short once its bytes run out. Descriptions are sorted once
// after they are all read. A SavedTraceFile keeps the records as the bytes
// read; TraceFile::load makes a writable file, whose rings get the sizes the
// file claims.
//
// Thread safety
// -------------
// A file is written by one thread at a time; save and render it while nobody
// writes it.
#pragma once

#include <array>
#include <cstdint>
#include <istream>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "Fen/String.h"
#include "Lintel/MsgDesc.h"
#include "Lintel/RingBuf.h"

namespace Lintel {

// Levels of a trace file, each with its own ring.
inline constexpr int levelCount = 32;

// Bytes of each level's ring; 0 closes a level.
struct RingSizes {
   std::array<std::size_t, levelCount> bytes{};

   // Every level at `bytes`.
   static RingSizes uniform(std::size_t bytes);
   // What a trace file gets unless told otherwise: 16 KiB a level.
   static RingSizes defaults() { return uniform(16 * 1024); }
};

// One record of any level, rendered.
struct RenderedRecord {
   int level;
   std::uint64_t seq;
   int msgId;
   Fen::String text;
};

// The facility of a statement as far as its description tells: the name of its
// source file without folders and extension. The library's units name their
// facility after their file (WexIntfEncapSm.cpp traces as "WexIntfEncapSm");
// the saved form has no field for the facility itself.
std::string_view msgFacility(MsgDescription const& desc);

// Which records a dump prints.
struct RenderFilter {
   // Bit n keeps level n.
   std::uint32_t levels = 0xFFFFFFFFu;
   // Facilities kept (see msgFacility); empty keeps every one.
   std::vector<Fen::String> facilities;

   // True when a record of `level` whose description is `desc` (null when it
   // is not described) is printed.
   bool keeps(int level, MsgDescription const* desc) const;
};

class TraceFile {
public:
   using RenderedRecord = Lintel::RenderedRecord;

   explicit TraceFile(RingSizes const& sizes = RingSizes::defaults(),
                      Fen::String const& name = Fen::String());
   TraceFile(TraceFile const&) = delete;
   TraceFile& operator=(TraceFile const&) = delete;

   // What the file is called in a dump ("thread 2").
   Fen::String const& name() const { return name_; }
   void nameIs(Fen::String const& name) { name_ = name; }

   // The ring of `level` (0 to levelCount - 1).
   RingBuf* ring(int level) {
      FEN_ASSERT(level >= 0 && level < levelCount);
      return &rings_[static_cast<std::size_t>(level)];
   }
   RingBuf const* ring(int level) const {
      FEN_ASSERT(level >= 0 && level < levelCount);
      return &rings_[static_cast<std::size_t>(level)];
   }
   // Resizes one level's ring, dropping its records.
   void ringSizeIs(int level, std::size_t bytes) { ring(level)->capacityIs(bytes); }

   // True when the table describes `msgId`.
   bool msgKnown(int msgId) const {
      return static_cast<std::size_t>(msgId) < known_.size() &&
             known_[static_cast<std::size_t>(msgId)] != 0;
   }
   // The description of `msgId`, or null.
   MsgDescription const* msgDesc(int msgId) const;
   // How many messages the table describes.
   std::size_t msgDescs() const { return descs_.size(); }
   // Enters a description (replacing one of the same number).
   void msgDescIs(MsgDescription const& desc);

   // The sequence number of the next record, and taking it.
   std::uint64_t seq() const { return nextSeq_; }
   std::uint64_t seqNext() { return nextSeq_++; }

   // Records of every level, in sequence order.
   std::vector<RenderedRecord> renderedRecords() const;
   // One line per record, in sequence order: "<level> <seq> <text>".
   void render(std::ostream& out) const;

   void save(std::ostream& out) const;
   // Reads one saved file (see SavedTraceFile::load), as a file that may be
   // written further: each level with records gets a ring of the size the file
   // claims, up to RingBuf::capacityMax. To print a file, read it as a
   // SavedTraceFile, which holds no more than its bytes.
   static std::unique_ptr<TraceFile> load(std::istream& in);

private:
   Fen::String name_;
   std::uint64_t nextSeq_ = 1;
   std::array<RingBuf, levelCount> rings_;
   // known_[id] is 1 when descs_ has id; index 0 is never known.
   std::vector<std::uint8_t> known_;
   std::vector<MsgDescription> descs_;
};

// A saved trace file read for printing. Its memory is the bytes it read and an
// entry per description, whatever sizes the file claims.
class SavedTraceFile {
public:
   // One level as saved: its ring's size and counters, and its records.
   struct Level {
      std::uint64_t capacity = 0;
      std::uint64_t written = 0;
      std::uint64_t overwritten = 0;
      std::uint64_t dropped = 0;
      // Whole records, oldest first, as RingBuf::contents() gave them.
      std::string records;
   };

   // Reads one saved file. Raises Fen::RangeException, naming what is wrong, for
   // anything that is not a whole, consistent trace file: a length or count
   // past the end of the stream, an unknown format version, sizes out of the
   // format's bounds, a message described twice, with an unknown type letter or
   // with type names that do not match its types, a record that refers to a
   // message not described, does not hold exactly its arguments, or has a
   // sequence number past the file's.
   static std::unique_ptr<SavedTraceFile> load(std::istream& in);

   Fen::String const& name() const { return name_; }
   // The sequence number the next record would have had.
   std::uint64_t seq() const { return nextSeq_; }
   // The descriptions, by ascending message number.
   std::vector<MsgDescription> const& msgDescs() const { return descs_; }
   // The description of `msgId`, or null.
   MsgDescription const* msgDesc(int msgId) const;
   Level const& level(int level) const {
      FEN_ASSERT(level >= 0 && level < levelCount);
      return levels_[static_cast<std::size_t>(level)];
   }

   // Records of the levels and facilities `filter` keeps, in sequence order.
   std::vector<RenderedRecord> renderedRecords(RenderFilter const& filter = {}) const;
   // One line per record, in sequence order: "<level> <seq> <text>". Stops at
   // the first line `out` fails to take.
   void render(std::ostream& out, RenderFilter const& filter = {}) const;

private:
   Fen::String name_;
   std::uint64_t nextSeq_ = 0;
   std::vector<MsgDescription> descs_;
   std::array<Level, levelCount> levels_;
};

// Reads every saved file in `in`. Raises Fen::RangeException for a bad file or
// an empty stream.
std::vector<std::unique_ptr<SavedTraceFile>> loadTraceFiles(std::istream& in);
// Renders `files` to `out`, each after a line "== <name> ==" when there is more
// than one or the file has a name. Stops at the first line `out` fails to take.
void renderTraceFiles(std::vector<std::unique_ptr<SavedTraceFile>> const& files, std::ostream& out,
                      RenderFilter const& filter = {});
// Both: returns how many files it read.
std::size_t renderTraceFiles(std::istream& in, std::ostream& out, RenderFilter const& filter = {});

// RingBuf::startMsg needs the file's sequence numbers, hence here.
inline bool RingBuf::startMsg(TraceFile* file, int msgId, std::size_t payloadBytes) {
   std::size_t const size =
       (headerBytes + payloadBytes + recordAlignment - 1) & ~(recordAlignment - 1);
   if (size > capacity_) [[unlikely]] {
      if (capacity_ != 0) ++dropped_;
      return false;
   }
   if (!buf_) [[unlikely]]
      allocate();
   if ((head_ & (capacity_ - 1)) + size > capacity_) fillerIs();
   roomIs(size);
   char* p = buf_.get() + (head_ & (capacity_ - 1));
   std::uint32_t const header[2] = {static_cast<std::uint32_t>(size),
                                    static_cast<std::uint32_t>(msgId)};
   std::uint64_t const seq = file->seqNext();
   // Zero the last 8 bytes first, so that the padding is zero whatever the
   // arguments leave of it (they are at least the seq when there is no payload).
   std::memset(p + size - 8, 0, 8);
   std::memcpy(p, header, 8);
   std::memcpy(p + 8, &seq, 8);
   head_ += size;
   cursor_ = RecordCursor{p + headerBytes, p + size};
   ++written_;
   return true;
}

}  // namespace Lintel
