#include "Lintel/MsgDesc.h"

#include <atomic>
#include <mutex>

#include "Lintel/TraceFile.h"

namespace Lintel {

namespace {

// Message numbers are handed out once per process, so that a statement's
// number means the same in every trace file.
std::mutex& numberLock() {
   static std::mutex* lock = new std::mutex;
   return *lock;
}
int nextMsgId = 1;

}  // namespace

Fen::String MsgDescription::format() const {
   std::string out;
   for (Fen::String const& p : pieces)
      out += p.view();
   return Fen::String(std::move(out));
}

Fen::String MsgDescription::rendered(std::vector<std::string> const& args) const {
   std::string const fmt = format().stdString();
   std::string out;
   std::size_t next = 0;
   std::size_t pos = 0;
   while (true) {
      std::size_t const hole = fmt.find("%s", pos);
      if (hole == std::string::npos || next == args.size()) break;
      out.append(fmt, pos, hole - pos);
      out += args[next++];
      pos = hole + 2;
   }
   out.append(fmt, pos, std::string::npos);
   return Fen::String(std::move(out));
}

void MsgFormatString::put(char const* typeLetter, char style) {
   types_ += Fen::String(typeLetter);
   styles_ += Fen::String(std::string(1, style));
   typeNames_.emplace_back();
}

void MsgFormatString::putEnum(Fen::String const& typeName, char style) {
   put("e", style);
   typeNames_.back() = typeName;
}

MsgDesc::MsgDesc(TraceFile* file, int* msgId, char const* sourceFile, int line)
    : file_(file), msgId_(msgId) {
   desc_.sourceFile = Fen::String(sourceFile);
   desc_.line = line;
}

MsgDesc& MsgDesc::operator<<(char const* piece) {
   desc_.pieces.emplace_back(piece);
   return *this;
}

MsgDesc& MsgDesc::operator<<(Fen::String const& piece) {
   desc_.pieces.push_back(piece);
   return *this;
}

MsgDesc& MsgDesc::operator<<(MsgFormatString const& format) {
   desc_.types = format.types();
   desc_.styles = format.styles();
   desc_.typeNames = format.typeNames();
   return *this;
}

int MsgDesc::finish() {
   int id;
   {
      std::lock_guard guard(numberLock());
      std::atomic_ref<int> number(*msgId_);
      id = number.load(std::memory_order_relaxed);
      if (id == 0) {
         id = nextMsgId++;
         number.store(id, std::memory_order_relaxed);
      }
   }
   desc_.msgId = id;
   if (file_) file_->msgDescIs(desc_);
   return id;
}

}  // namespace Lintel
