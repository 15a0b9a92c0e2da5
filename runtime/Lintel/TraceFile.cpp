#include "Lintel/TraceFile.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <string>
#include <unordered_map>

#include "Fen/Exception.h"
#include "Fen/GenericIf.h"

namespace Lintel {

namespace {

// The magic number is "LINTEL\0" and the format's version. Version 1 has no type
// names in its descriptions and no "e" arguments; it is still read.
constexpr char magic[7] = {'L', 'I', 'N', 'T', 'E', 'L', '\0'};
constexpr unsigned char formatVersion = 2;
constexpr std::uint32_t byteOrderWord = 0x01020304u;
// Sanity bounds for what a file may announce before it is read.
constexpr std::uint32_t stringBytesLimit = 1u << 20;
constexpr std::uint32_t countLimit = 1u << 20;

[[noreturn]] void badFile(Fen::String const& what) {
   Fen::throwRangeException(Fen::String("bad Lintel trace file: ") + what);
}

// The names of enumerators, through reflection, by their enumeration's type
// name; each type is looked up once.
class EnumNames {
public:
   // The string form of `value` in the enumeration `typeName`: its name, or the
   // number in decimal when it has none. Empty when this process does not know
   // that enumeration (a file of another build).
   std::string text(std::string_view typeName, std::uint8_t value) {
      auto it = types_.find(typeName);
      if (it == types_.end()) it = types_.emplace(std::string(typeName), typeOf(typeName)).first;
      if (!it->second) return std::string();
      Fen::GenericValue v(it->second);
      *static_cast<unsigned char*>(v.ptr()) = value;
      return v.strRep().stdString();
   }

private:
   // The reflected enumeration of one byte of that name; a null view for none.
   static Fen::TypeView typeOf(std::string_view typeName) {
      if (typeName.empty()) return {};
      Fen::TypeView const t = Fen::fenType(typeName);
      if (!t || t.family() != Fen::TypeFamily::enumeration || t.record().size != 1) return {};
      return t;
   }

   struct Hash {
      using is_transparent = void;
      std::size_t operator()(std::string_view s) const { return std::hash<std::string_view>{}(s); }
   };
   std::unordered_map<std::string, Fen::TypeView, Hash, std::equal_to<>> types_;
};

// Arguments of one record, as text, following the description's types; false
// (with `error` set) when the payload does not hold exactly those arguments.
// Enumerators print by name through `enumNames`, or as numbers without it.
bool decodedArgs(MsgDescription const& desc, std::string_view payload,
                 std::vector<std::string>& args, std::string& error,
                 EnumNames* enumNames = nullptr) {
   args.clear();
   std::size_t pos = 0;
   auto need = [&](std::size_t n) {
      if (payload.size() - pos >= n) return true;
      error = "arguments run past the end of the record";
      return false;
   };
   auto number = [&](std::uint64_t u, std::int64_t s, char style, int hexDigits) {
      char buf[32];
      if (style == 'x') {
         std::snprintf(buf, sizeof buf, "0x%0*" PRIx64, hexDigits, u);
      } else if (style == 'd') {
         std::snprintf(buf, sizeof buf, "%" PRId64, s);
      } else {
         std::snprintf(buf, sizeof buf, "%" PRIu64, u);
      }
      return std::string(buf);
   };
   for (std::size_t a = 0; a < desc.types.size(); ++a) {
      char const type = desc.types.charPtr()[a];
      char const style = a < desc.styles.size() ? desc.styles.charPtr()[a] : 'u';
      char const* p = payload.data() + pos;
      switch (type) {
         case 'p': {
            if (!need(2)) return false;
            std::size_t const n = RingBuf::load<std::uint16_t>(p);
            pos += 2;
            if (!need(n)) return false;
            args.emplace_back(payload.data() + pos, n);
            pos += n;
            break;
         }
         case 'b': {
            if (!need(1)) return false;
            std::uint8_t const b = RingBuf::load<std::uint8_t>(p);
            if (b > 1) {
               error = "a bool argument is neither 0 nor 1";
               return false;
            }
            args.emplace_back(b ? "true" : "false");
            pos += 1;
            break;
         }
         case 's': {
            if (!need(2)) return false;
            std::uint16_t const v = RingBuf::load<std::uint16_t>(p);
            args.push_back(number(v, static_cast<std::int16_t>(v), style, 4));
            pos += 2;
            break;
         }
         case 'i': {
            if (!need(4)) return false;
            std::uint32_t const v = RingBuf::load<std::uint32_t>(p);
            args.push_back(number(v, static_cast<std::int32_t>(v), style, 4));
            pos += 4;
            break;
         }
         case 'e': {
            if (!need(1)) return false;
            std::uint8_t const v = RingBuf::load<std::uint8_t>(p);
            std::string name;
            if (enumNames && a < desc.typeNames.size()) {
               name = enumNames->text(desc.typeNames[a].view(), v);
            }
            args.push_back(name.empty() ? number(v, static_cast<std::int8_t>(v), style, 4)
                                        : std::move(name));
            pos += 1;
            break;
         }
         case 'l': {
            if (!need(8)) return false;
            std::uint64_t const v = RingBuf::load<std::uint64_t>(p);
            args.push_back(number(v, static_cast<std::int64_t>(v), style, 4));
            pos += 8;
            break;
         }
         default:
            error = "unknown type letter '" + std::string(1, type) + "'";
            return false;
      }
   }
   if (payload.size() - pos >= RingBuf::recordAlignment) {
      error = "the record is longer than its arguments";
      return false;
   }
   return true;
}

// Little helpers over a stream, in host byte order.
template <class T>
void writeRaw(std::ostream& out, T v) {
   out.write(reinterpret_cast<char const*>(&v), sizeof v);
}
void writeString(std::ostream& out, std::string_view s) {
   writeRaw(out, static_cast<std::uint32_t>(s.size()));
   out.write(s.data(), static_cast<std::streamsize>(s.size()));
}

// Reads a saved file from a stream. Fixed-size fields are read whole; a length
// the file claims is read in pieces, so that memory follows the bytes there and
// not the claim.
class Reader {
public:
   explicit Reader(std::istream& in) : in_(in) {}

   // What is being read, for the messages: "description 3 of the 7 it claims".
   void contextIs(std::string context) { context_ = std::move(context); }

   void bytes(char* p, std::size_t n, char const* what) {
      in_.read(p, static_cast<std::streamsize>(n));
      if (static_cast<std::size_t>(in_.gcount()) != n) {
         badFile(Fen::format("it is cut short while reading %s%s", what, where().c_str()));
      }
   }
   template <class T>
   T raw(char const* what) {
      T v;
      bytes(reinterpret_cast<char*>(&v), sizeof v, what);
      return v;
   }
   // `n` bytes that the file claims for `what`.
   std::string claimed(std::uint64_t n, char const* what) {
      constexpr std::size_t piece = 64 * 1024;
      std::string s;
      while (s.size() < n) {
         std::size_t const at = s.size();
         std::size_t const want = static_cast<std::size_t>(std::min<std::uint64_t>(piece, n - at));
         s.resize(at + want);
         in_.read(s.data() + at, static_cast<std::streamsize>(want));
         std::size_t const got = static_cast<std::size_t>(in_.gcount());
         if (got != want) {
            badFile(Fen::format("it is cut short: it claims %" PRIu64
                                " bytes for %s%s, but only %zu are left",
                                n, what, where().c_str(), at + got));
         }
      }
      return s;
   }
   // A string: its length, at most `limit`, and its bytes.
   std::string string(char const* what, std::uint32_t limit = stringBytesLimit) {
      std::uint32_t const n = raw<std::uint32_t>(what);
      if (n > limit) {
         badFile(Fen::format("%s%s is %u bytes long, more than %u", what, where().c_str(),
                             static_cast<unsigned>(n), static_cast<unsigned>(limit)));
      }
      return claimed(n, what);
   }

private:
   std::string where() const { return context_.empty() ? context_ : " (" + context_ + ")"; }

   std::istream& in_;
   std::string context_;
};

// Calls f(Record const&) for each record of saved bytes, already checked whole.
template <class F>
void forEachSavedRecord(std::string_view bytes, F&& f) {
   for (std::size_t pos = 0; pos < bytes.size();) {
      char const* p = bytes.data() + pos;
      std::uint32_t const size = RingBuf::load<std::uint32_t>(p);
      f(RingBuf::Record{static_cast<int>(RingBuf::load<std::uint32_t>(p + 4)),
                        RingBuf::load<std::uint64_t>(p + 8),
                        std::string_view(p + RingBuf::headerBytes, size - RingBuf::headerBytes)});
      pos += size;
   }
}

// The text of one record.
Fen::String renderedText(MsgDescription const* desc, RingBuf::Record const& r,
                         std::vector<std::string>& args, std::string& error, EnumNames& enumNames) {
   if (!desc) return Fen::format("<message %d not described>", r.msgId);
   if (!decodedArgs(*desc, r.payload, args, error, &enumNames)) {
      return Fen::format("<message %d: %s>", r.msgId, error.c_str());
   }
   return desc->rendered(args);
}

void sortedBySeq(std::vector<RenderedRecord>& records) {
   std::stable_sort(records.begin(), records.end(),
                    [](RenderedRecord const& a, RenderedRecord const& b) { return a.seq < b.seq; });
}

// Writes "<level> <seq> <text>" lines; stops when `out` fails.
void renderedLines(std::vector<RenderedRecord> const& records, std::ostream& out) {
   for (RenderedRecord const& r : records) {
      if (!(out << r.level << ' ' << r.seq << ' ' << r.text << '\n')) return;
   }
}

MsgDescription const* descOf(std::vector<MsgDescription> const& descs, int msgId) {
   auto it = std::lower_bound(descs.begin(), descs.end(), msgId,
                              [](MsgDescription const& d, int id) { return d.msgId < id; });
   return it != descs.end() && it->msgId == msgId ? &*it : nullptr;
}

// A type letter for a message: the letter, or its byte when it is not printable.
std::string typeLetterText(char c) {
   if (c > ' ' && c < 0x7F) return Fen::format("type letter '%c'", c).stdString();
   return Fen::format("type byte 0x%02x", static_cast<unsigned>(static_cast<unsigned char>(c)))
       .stdString();
}

}  // namespace

RingSizes RingSizes::uniform(std::size_t bytes) {
   RingSizes sizes;
   sizes.bytes.fill(bytes);
   return sizes;
}

TraceFile::TraceFile(RingSizes const& sizes, Fen::String const& name) : name_(name) {
   for (int level = 0; level < levelCount; ++level) {
      ringSizeIs(level, sizes.bytes[static_cast<std::size_t>(level)]);
   }
}

MsgDescription const* TraceFile::msgDesc(int msgId) const {
   if (!msgKnown(msgId)) return nullptr;
   auto it = std::lower_bound(descs_.begin(), descs_.end(), msgId,
                              [](MsgDescription const& d, int id) { return d.msgId < id; });
   return &*it;
}

void TraceFile::msgDescIs(MsgDescription const& desc) {
   FEN_ASSERT(desc.msgId > 0);
   auto it = std::lower_bound(descs_.begin(), descs_.end(), desc.msgId,
                              [](MsgDescription const& d, int id) { return d.msgId < id; });
   if (it != descs_.end() && it->msgId == desc.msgId) {
      *it = desc;
   } else {
      descs_.insert(it, desc);
   }
   std::size_t const id = static_cast<std::size_t>(desc.msgId);
   if (known_.size() <= id) known_.resize(std::max(id + 1, known_.size() * 2), 0);
   known_[id] = 1;
}

std::vector<RenderedRecord> TraceFile::renderedRecords() const {
   std::vector<RenderedRecord> out;
   std::vector<std::string> args;
   std::string error;
   EnumNames enumNames;
   for (int level = 0; level < levelCount; ++level) {
      ring(level)->forEachRecord([&](RingBuf::Record const& r) {
         out.push_back(RenderedRecord{level, r.seq, r.msgId,
                                      renderedText(msgDesc(r.msgId), r, args, error, enumNames)});
      });
   }
   sortedBySeq(out);
   return out;
}

void TraceFile::render(std::ostream& out) const {
   renderedLines(renderedRecords(), out);
}

void TraceFile::save(std::ostream& out) const {
   out.write(magic, sizeof magic);
   writeRaw(out, formatVersion);
   writeRaw(out, byteOrderWord);
   writeString(out, name_.view());
   writeRaw(out, nextSeq_);
   writeRaw(out, static_cast<std::uint32_t>(descs_.size()));
   for (MsgDescription const& d : descs_) {
      writeRaw(out, static_cast<std::uint32_t>(d.msgId));
      writeRaw(out, static_cast<std::uint32_t>(d.line));
      writeString(out, d.sourceFile.view());
      writeString(out, d.types.view());
      writeString(out, d.styles.view());
      writeRaw(out, static_cast<std::uint32_t>(d.types.size()));
      for (std::size_t a = 0; a < d.types.size(); ++a)
         writeString(out, a < d.typeNames.size() ? d.typeNames[a].view() : std::string_view());
      writeRaw(out, static_cast<std::uint32_t>(d.pieces.size()));
      for (Fen::String const& p : d.pieces)
         writeString(out, p.view());
   }
   writeRaw(out, static_cast<std::uint32_t>(levelCount));
   for (RingBuf const& r : rings_) {
      writeRaw(out, static_cast<std::uint64_t>(r.capacity()));
      writeRaw(out, r.written());
      writeRaw(out, r.overwritten());
      writeRaw(out, r.dropped());
      writeString(out, r.contents());
   }
}

std::unique_ptr<TraceFile> TraceFile::load(std::istream& in) {
   std::unique_ptr<SavedTraceFile> const saved = SavedTraceFile::load(in);
   auto file = std::make_unique<TraceFile>(RingSizes::uniform(0), saved->name());
   file->nextSeq_ = saved->seq();
   file->descs_ = saved->msgDescs();
   if (!file->descs_.empty()) {
      file->known_.assign(static_cast<std::size_t>(file->descs_.back().msgId) + 1, 0);
      for (MsgDescription const& d : file->descs_)
         file->known_[static_cast<std::size_t>(d.msgId)] = 1;
   }
   for (int level = 0; level < levelCount; ++level) {
      SavedTraceFile::Level const& l = saved->level(level);
      RingBuf* ring = file->ring(level);
      ring->capacityIs(l.capacity);
      ring->contentsIs(l.records, l.written, l.overwritten, l.dropped);
   }
   return file;
}

// ---- SavedTraceFile ----

std::string_view msgFacility(MsgDescription const& desc) {
   std::string_view name = desc.sourceFile.view();
   std::size_t const slash = name.find_last_of("/\\");
   if (slash != std::string_view::npos) name.remove_prefix(slash + 1);
   std::size_t const dot = name.find('.');
   if (dot != std::string_view::npos) name = name.substr(0, dot);
   return name;
}

bool RenderFilter::keeps(int level, MsgDescription const* desc) const {
   if (level < 0 || level >= levelCount || (levels >> level & 1u) == 0) return false;
   if (facilities.empty()) return true;
   if (!desc) return false;
   std::string_view const facility = msgFacility(*desc);
   return std::any_of(facilities.begin(), facilities.end(),
                      [&](Fen::String const& f) { return f.view() == facility; });
}

MsgDescription const* SavedTraceFile::msgDesc(int msgId) const {
   return descOf(descs_, msgId);
}

std::unique_ptr<SavedTraceFile> SavedTraceFile::load(std::istream& in) {
   Reader rd(in);
   char head[sizeof magic];
   rd.bytes(head, sizeof head, "the magic number");
   if (!std::equal(head, head + sizeof head, magic)) badFile("it does not start with LINTEL");
   unsigned const version = rd.raw<std::uint8_t>("the format version");
   if (version != 1 && version != formatVersion) {
      badFile(Fen::format("it is of format version %u, not 1 or %u", version,
                          static_cast<unsigned>(formatVersion)));
   }
   if (rd.raw<std::uint32_t>("the byte order") != byteOrderWord) {
      badFile("it was written on a machine of another byte order");
   }
   auto file = std::make_unique<SavedTraceFile>();
   file->name_ = Fen::String(rd.string("the file name"));
   file->nextSeq_ = rd.raw<std::uint64_t>("the sequence number");
   std::uint32_t const descs = rd.raw<std::uint32_t>("the number of messages");
   if (descs > countLimit) badFile(Fen::format("it claims %u messages", descs));
   // Read in the file's order, then sorted once: a file may list its
   // descriptions in any order.
   for (std::uint32_t i = 0; i < descs; ++i) {
      rd.contextIs(Fen::format("description %u of the %u it claims", i + 1, descs).stdString());
      MsgDescription d;
      std::uint32_t const id = rd.raw<std::uint32_t>("a message number");
      if (id == 0 || id > countLimit) {
         badFile(Fen::format("message number %u is out of range", static_cast<unsigned>(id)));
      }
      d.msgId = static_cast<int>(id);
      d.line = static_cast<int>(rd.raw<std::uint32_t>("a line number"));
      d.sourceFile = Fen::String(rd.string("a source file name"));
      d.types = Fen::String(rd.string("the types of a message"));
      d.styles = Fen::String(rd.string("the styles of a message"));
      if (version >= 2) {
         std::uint32_t const names = rd.raw<std::uint32_t>("the number of type names");
         if (names != d.types.size()) {
            badFile(Fen::format("message %u has %zu types but %u type names", id, d.types.size(),
                                static_cast<unsigned>(names)));
         }
         for (std::uint32_t a = 0; a < names; ++a) {
            d.typeNames.emplace_back(rd.string("a type name"));
            if (d.types.charPtr()[a] != 'e' && !d.typeNames.back().empty()) {
               badFile(
                   Fen::format("message %u names a type for argument %u, which is no "
                               "enumeration",
                               id, static_cast<unsigned>(a)));
            }
         }
      }
      std::uint32_t const pieces = rd.raw<std::uint32_t>("the number of pieces");
      if (pieces > countLimit) badFile(Fen::format("message %u claims %u pieces", id, pieces));
      for (std::uint32_t p = 0; p < pieces; ++p) {
         d.pieces.emplace_back(rd.string("a piece of a message"));
      }
      if (d.styles.size() != d.types.size()) {
         badFile(Fen::format("message %u has %zu types but %zu styles", id, d.types.size(),
                             d.styles.size()));
      }
      // Version 1 has no "e" arguments.
      std::string_view const letters = version >= 2 ? "pbsile" : "pbsil";
      for (char const t : d.types.view()) {
         if (letters.find(t) == std::string_view::npos) {
            badFile(Fen::format("message %u has the unknown %s", id, typeLetterText(t).c_str()));
         }
      }
      file->descs_.push_back(std::move(d));
   }
   rd.contextIs(std::string());
   std::sort(file->descs_.begin(), file->descs_.end(),
             [](MsgDescription const& a, MsgDescription const& b) { return a.msgId < b.msgId; });
   auto const twice = std::adjacent_find(
       file->descs_.begin(), file->descs_.end(),
       [](MsgDescription const& a, MsgDescription const& b) { return a.msgId == b.msgId; });
   if (twice != file->descs_.end()) {
      badFile(Fen::format("message %d is described twice", twice->msgId));
   }

   std::uint32_t const levels = rd.raw<std::uint32_t>("the number of levels");
   if (levels != levelCount) badFile(Fen::format("it has %u levels, not %d", levels, levelCount));
   std::vector<std::string> args;
   std::string error;
   for (int level = 0; level < levelCount; ++level) {
      rd.contextIs(Fen::format("level %d", level).stdString());
      Level& l = file->levels_[static_cast<std::size_t>(level)];
      l.capacity = rd.raw<std::uint64_t>("a ring size");
      if (l.capacity > RingBuf::capacityMax || (l.capacity & (l.capacity - 1)) != 0 ||
          (l.capacity != 0 && l.capacity < RingBuf::capacityMin)) {
         badFile(Fen::format("level %d has a ring of %" PRIu64 " bytes", level, l.capacity));
      }
      l.written = rd.raw<std::uint64_t>("a record count");
      l.overwritten = rd.raw<std::uint64_t>("a record count");
      l.dropped = rd.raw<std::uint64_t>("a record count");
      std::uint32_t const bytes = rd.raw<std::uint32_t>("the length of the records");
      if (bytes > l.capacity) {
         badFile(Fen::format("level %d: %u bytes of records do not fit a ring of %" PRIu64 " bytes",
                             level, static_cast<unsigned>(bytes), l.capacity));
      }
      l.records = rd.claimed(bytes, "the records");
      // Whole records, each of a described message with exactly its arguments.
      std::string_view const records = l.records;
      std::size_t index = 0;
      for (std::size_t pos = 0; pos < records.size(); ++index) {
         char const* p = records.data() + pos;
         if (records.size() - pos < RingBuf::headerBytes) {
            badFile(Fen::format("level %d: record at byte %zu is cut short", level, pos));
         }
         std::uint32_t const size = RingBuf::load<std::uint32_t>(p);
         std::uint32_t const msgId = RingBuf::load<std::uint32_t>(p + 4);
         if (size < RingBuf::headerBytes || size % RingBuf::recordAlignment != 0 ||
             size > records.size() - pos) {
            badFile(Fen::format("level %d: record at byte %zu has a bad size (%u)", level, pos,
                                static_cast<unsigned>(size)));
         }
         if (msgId == 0 || msgId > 0x7FFFFFFFu) {
            badFile(Fen::format("level %d: record at byte %zu has a bad message number (%u)", level,
                                pos, static_cast<unsigned>(msgId)));
         }
         RingBuf::Record const r{
             static_cast<int>(msgId), RingBuf::load<std::uint64_t>(p + 8),
             std::string_view(p + RingBuf::headerBytes, size - RingBuf::headerBytes)};
         MsgDescription const* desc = file->msgDesc(r.msgId);
         if (!desc) {
            badFile(
                Fen::format("record %zu of level %d refers to message %d, which is not "
                            "described",
                            index, level, r.msgId));
         }
         if (!decodedArgs(*desc, r.payload, args, error)) {
            badFile(Fen::format("record %zu of level %d (message %d): %s", index, level, r.msgId,
                                error.c_str()));
         }
         if (r.seq >= file->nextSeq_) {
            badFile(Fen::format("record %zu of level %d has sequence number %" PRIu64
                                ", but the file's next is %" PRIu64,
                                index, level, r.seq, file->nextSeq_));
         }
         pos += size;
      }
   }
   return file;
}

std::vector<RenderedRecord> SavedTraceFile::renderedRecords(RenderFilter const& filter) const {
   std::vector<RenderedRecord> out;
   std::vector<std::string> args;
   std::string error;
   EnumNames enumNames;
   for (int level = 0; level < levelCount; ++level) {
      if ((filter.levels >> level & 1u) == 0) continue;
      forEachSavedRecord(
          levels_[static_cast<std::size_t>(level)].records, [&](RingBuf::Record const& r) {
             MsgDescription const* desc = msgDesc(r.msgId);
             if (!filter.keeps(level, desc)) return;
             out.push_back(RenderedRecord{level, r.seq, r.msgId,
                                          renderedText(desc, r, args, error, enumNames)});
          });
   }
   sortedBySeq(out);
   return out;
}

void SavedTraceFile::render(std::ostream& out, RenderFilter const& filter) const {
   renderedLines(renderedRecords(filter), out);
}

std::vector<std::unique_ptr<SavedTraceFile>> loadTraceFiles(std::istream& in) {
   std::vector<std::unique_ptr<SavedTraceFile>> files;
   while (in.peek() != std::char_traits<char>::eof())
      files.push_back(SavedTraceFile::load(in));
   if (files.empty()) badFile("it is empty");
   return files;
}

void renderTraceFiles(std::vector<std::unique_ptr<SavedTraceFile>> const& files, std::ostream& out,
                      RenderFilter const& filter) {
   for (auto const& f : files) {
      if (files.size() > 1 || !f->name().empty()) {
         if (!(out << "== " << f->name() << " ==\n")) return;
      }
      f->render(out, filter);
   }
}

std::size_t renderTraceFiles(std::istream& in, std::ostream& out, RenderFilter const& filter) {
   std::vector<std::unique_ptr<SavedTraceFile>> const files = loadTraceFiles(in);
   renderTraceFiles(files, out, filter);
   return files.size();
}

}  // namespace Lintel
