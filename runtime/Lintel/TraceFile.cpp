#include "Lintel/TraceFile.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <string>

#include "Fen/Exception.h"

namespace Lintel {

namespace {

constexpr char magic[8] = {'L', 'I', 'N', 'T', 'E', 'L', '\0', '\1'};
constexpr std::uint32_t byteOrderWord = 0x01020304u;
// Sanity bounds for what a file may announce before it is read.
constexpr std::uint32_t stringBytesLimit = 1u << 20;
constexpr std::uint32_t countLimit = 1u << 20;

[[noreturn]] void badFile(Fen::String const& what) {
   Fen::throwRangeException(Fen::String("bad Lintel trace file: ") + what);
}

// Arguments of one record, as text, following the description's types; false
// (with `error` set) when the payload does not hold exactly those arguments.
bool decodedArgs(MsgDescription const& desc, std::string_view payload,
                 std::vector<std::string>& args, std::string& error) {
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

class Reader {
public:
   explicit Reader(std::istream& in) : in_(in) {}
   void bytes(char* p, std::size_t n, char const* what) {
      in_.read(p, static_cast<std::streamsize>(n));
      if (static_cast<std::size_t>(in_.gcount()) != n) {
         badFile(Fen::format("cut short while reading %s", what));
      }
   }
   template <class T>
   T raw(char const* what) {
      T v;
      bytes(reinterpret_cast<char*>(&v), sizeof v, what);
      return v;
   }
   std::string string(char const* what, std::uint32_t limit = stringBytesLimit) {
      std::uint32_t const n = raw<std::uint32_t>(what);
      if (n > limit) badFile(Fen::format("%s is %u bytes long", what, static_cast<unsigned>(n)));
      std::string s(n, '\0');
      bytes(s.data(), n, what);
      return s;
   }

private:
   std::istream& in_;
};

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

std::vector<TraceFile::RenderedRecord> TraceFile::renderedRecords() const {
   std::vector<RenderedRecord> out;
   std::vector<std::string> args;
   std::string error;
   for (int level = 0; level < levelCount; ++level) {
      ring(level)->forEachRecord([&](RingBuf::Record const& r) {
         MsgDescription const* desc = msgDesc(r.msgId);
         Fen::String text;
         if (!desc) {
            text = Fen::format("<message %d not described>", r.msgId);
         } else if (!decodedArgs(*desc, r.payload, args, error)) {
            text = Fen::format("<message %d: %s>", r.msgId, error.c_str());
         } else {
            text = desc->rendered(args);
         }
         out.push_back(RenderedRecord{level, r.seq, r.msgId, std::move(text)});
      });
   }
   std::sort(out.begin(), out.end(),
             [](RenderedRecord const& a, RenderedRecord const& b) { return a.seq < b.seq; });
   return out;
}

void TraceFile::render(std::ostream& out) const {
   for (RenderedRecord const& r : renderedRecords()) {
      out << r.level << ' ' << r.seq << ' ' << r.text << '\n';
   }
}

void TraceFile::save(std::ostream& out) const {
   out.write(magic, sizeof magic);
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
   Reader rd(in);
   char head[sizeof magic];
   rd.bytes(head, sizeof head, "the magic number");
   if (!std::equal(head, head + sizeof head, magic)) badFile("it does not start with LINTEL");
   if (rd.raw<std::uint32_t>("the byte order") != byteOrderWord) {
      badFile("it was written on a machine of another byte order");
   }
   auto file = std::make_unique<TraceFile>(RingSizes::uniform(0));
   file->name_ = Fen::String(rd.string("the file name"));
   file->nextSeq_ = rd.raw<std::uint64_t>("the sequence number");
   std::uint32_t const descs = rd.raw<std::uint32_t>("the number of messages");
   if (descs > countLimit) badFile(Fen::format("it claims %u messages", descs));
   for (std::uint32_t i = 0; i < descs; ++i) {
      MsgDescription d;
      std::uint32_t const id = rd.raw<std::uint32_t>("a message number");
      if (id == 0 || id > countLimit) {
         badFile(Fen::format("message number %u is out of range", static_cast<unsigned>(id)));
      }
      if (file->msgKnown(static_cast<int>(id))) {
         badFile(Fen::format("message %u is described twice", static_cast<unsigned>(id)));
      }
      d.msgId = static_cast<int>(id);
      d.line = static_cast<int>(rd.raw<std::uint32_t>("a line number"));
      d.sourceFile = Fen::String(rd.string("a source file name"));
      d.types = Fen::String(rd.string("the types of a message"));
      d.styles = Fen::String(rd.string("the styles of a message"));
      std::uint32_t const pieces = rd.raw<std::uint32_t>("the number of pieces");
      if (pieces > countLimit) badFile(Fen::format("message %u claims %u pieces", id, pieces));
      for (std::uint32_t p = 0; p < pieces; ++p) {
         d.pieces.emplace_back(rd.string("a piece of a message"));
      }
      if (d.styles.size() != d.types.size()) {
         badFile(Fen::format("message %u has %zu types but %zu styles", id, d.types.size(),
                             d.styles.size()));
      }
      file->msgDescIs(d);
   }
   std::uint32_t const levels = rd.raw<std::uint32_t>("the number of levels");
   if (levels != levelCount) badFile(Fen::format("it has %u levels, not %d", levels, levelCount));
   std::vector<std::string> args;
   std::string error;
   for (int level = 0; level < levelCount; ++level) {
      RingBuf* ring = file->ring(level);
      std::uint64_t const capacity = rd.raw<std::uint64_t>("a ring size");
      if (capacity > RingBuf::capacityMax || (capacity & (capacity - 1)) != 0 ||
          (capacity != 0 && capacity < RingBuf::capacityMin)) {
         badFile(Fen::format("level %d has a ring of %" PRIu64 " bytes", level, capacity));
      }
      std::uint64_t const written = rd.raw<std::uint64_t>("a record count");
      std::uint64_t const overwritten = rd.raw<std::uint64_t>("a record count");
      std::uint64_t const dropped = rd.raw<std::uint64_t>("a record count");
      std::string const bytes =
          rd.string("the records of a level",
                    static_cast<std::uint32_t>(std::min<std::uint64_t>(capacity, 0xFFFFFFFFu)));
      ring->capacityIs(capacity);
      try {
         ring->contentsIs(bytes, written, overwritten, dropped);
      } catch (Fen::RangeException const& e) {
         badFile(Fen::format("level %d: %s", level, e.what()));
      }
      std::size_t index = 0;
      ring->forEachRecord([&](RingBuf::Record const& r) {
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
                                ", past the file's %" PRIu64,
                                index, level, r.seq, file->nextSeq_));
         }
         ++index;
      });
   }
   return file;
}

std::size_t renderTraceFiles(std::istream& in, std::ostream& out) {
   std::vector<std::unique_ptr<TraceFile>> files;
   while (in.peek() != std::char_traits<char>::eof())
      files.push_back(TraceFile::load(in));
   if (files.empty()) badFile("the stream is empty");
   for (auto const& f : files) {
      if (files.size() > 1 || !f->name().empty()) out << "== " << f->name() << " ==\n";
      f->render(out);
   }
   return files.size();
}

}  // namespace Lintel
