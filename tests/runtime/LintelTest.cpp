// The binary trace: rings, message descriptions, trace files and their saved
// form, per-thread files, and the ring side of the trace statement.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Bridging/VlanTpid.h"
#include "Fen/Exception.h"
#include "Fen/Trace.h"
#include "Gantry/Trace.h"
#include "Kestin/IntfId.h"
#include "Lintel/MsgDesc.h"
#include "Lintel/RingBuf.h"
#include "Lintel/TraceFile.h"
#include "Lintel/TraceHandle.h"
#include "TraceCapture.h"
#include "Ulva/IntfEncap.h"
#include "Ulva/IntfEncapHwStatus.h"
#include "Ulva/ServiceIntfFwdInfo.h"
#include "Ulva/VlanTag.h"

FEN_TRACE_UNIT("LintelTestUnit");

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// Installs a Lintel handle for the test, with the unit's text levels off, and
// keeps the unit's text lines; puts everything back afterwards.
class LintelTrace : public testing::Test {
protected:
   void SetUp() override {
      capture_.emplace(std::initializer_list<char const*>{"LintelTestUnit"}, 0);
      previousHandle_ = Lintel::defaultLintelHandleIs(nullptr);
   }
   void TearDown() override {
      Lintel::defaultLintelHandleIs(previousHandle_);
      capture_.reset();
   }
   void install(Lintel::TraceHandle* h) { Lintel::defaultLintelHandleIs(h); }
   std::vector<std::string> const& lines() const { return capture_->lines(); }

private:
   std::optional<TestSupport::TraceCapture> capture_;
   Lintel::TraceHandle* previousHandle_ = nullptr;
};

int argumentCalls = 0;

Fen::String countedName() {
   ++argumentCalls;
   return Fen::String("Ethernet3/1");
}

void handler(bool isDel) {
   GANTRY_TRACE(8, "Unit::handler: %s isDel:%s", countedName(), isDel);
}

void encapAction(Ulva::IntfEncap const& e, Ulva::IntfEncapHwStatus s) {
   GANTRY_TRACE(7, "Unit::action: " GANTRY_ENCAP_FORMAT " hwStatus %s", GANTRY_ENCAP(e), s);
}

void counted(int i) {
   GANTRY_TRACE(0, "Unit::counted: %s", i);
}

Ulva::IntfEncap anEncap() {
   return Ulva::IntfEncap(Kestin::IntfId("Ethernet3/1"),
                          Ulva::VlanTagEncap(Ulva::vlanTag(100), Ulva::VlanTag()));
}

std::string rendered(Lintel::TraceFile const& f) {
   std::ostringstream os;
   f.render(os);
   return os.str();
}

}  // namespace

// ---- The statement with a ring ----

TEST_F(LintelTrace, FirstStatementRegistersSecondOnlyWritesRecord) {
   Lintel::TraceHandle h;
   install(&h);
   Lintel::TraceFile* f = h.traceFile();
   ASSERT_NE(f, nullptr);
   EXPECT_EQ(f->msgDescs(), 0u);
   handler(false);
   EXPECT_EQ(f->msgDescs(), 1u);
   EXPECT_EQ(f->ring(8)->records(), 1u);
   handler(true);
   EXPECT_EQ(f->msgDescs(), 1u);
   EXPECT_EQ(f->ring(8)->records(), 2u);

   std::vector<Lintel::TraceFile::RenderedRecord> const r = f->renderedRecords();
   ASSERT_EQ(r.size(), 2u);
   EXPECT_EQ(r[0].msgId, r[1].msgId);
   Lintel::MsgDescription const* d = f->msgDesc(r[0].msgId);
   ASSERT_NE(d, nullptr);
   EXPECT_EQ(d->types, Fen::String("pb"));
   EXPECT_EQ(d->format(), Fen::String("Unit::handler: %s isDel:%s"));
   EXPECT_THAT(d->pieces, ElementsAre("Unit::handler: ", "%s", " isDel:", "%s"));
   EXPECT_THAT(d->sourceFile.stdString(), HasSubstr("LintelTest.cpp"));
   EXPECT_EQ(r[0].text, Fen::String("Unit::handler: Ethernet3/1 isDel:false"));
   EXPECT_EQ(r[1].text, Fen::String("Unit::handler: Ethernet3/1 isDel:true"));
   EXPECT_EQ(r[0].level, 8);
   EXPECT_LT(r[0].seq, r[1].seq);
}

TEST_F(LintelTrace, RingRecordsWhateverTheTextMask) {
   Lintel::TraceHandle h;
   install(&h);
   argumentCalls = 0;
   handler(false);
   // The arguments are evaluated for the ring, once; no text line.
   EXPECT_EQ(argumentCalls, 1);
   EXPECT_TRUE(lines().empty());
   Fen::TraceHandle::levelMaskIs("LintelTestUnit", Fen::TraceFacility::levelBit(8));
   handler(true);
   EXPECT_EQ(argumentCalls, 2);
   EXPECT_THAT(lines(), ElementsAre("Unit::handler: Ethernet3/1 isDel:true"));
   EXPECT_EQ(h.traceFile()->ring(8)->records(), 2u);
}

TEST_F(LintelTrace, NoHandleNoRecordNoEvaluation) {
   argumentCalls = 0;
   handler(false);
   EXPECT_EQ(argumentCalls, 0);
   EXPECT_EQ(Lintel::defaultLintelFile(), nullptr);
}

TEST_F(LintelTrace, HandleWithoutFileRecordsNothing) {
   Lintel::TraceHandle h;
   h.traceFileIs(nullptr);
   install(&h);
   argumentCalls = 0;
   handler(false);
   EXPECT_EQ(argumentCalls, 1);
   EXPECT_EQ(Lintel::defaultLintelFile(), nullptr);
}

TEST_F(LintelTrace, EncapRecordTypesAndRendering) {
   Lintel::TraceHandle h;
   install(&h);
   encapAction(anEncap(), Ulva::hwStatusSuccess);
   Lintel::TraceFile const& f = *h.traceFile();
   auto const r = f.renderedRecords();
   ASSERT_EQ(r.size(), 1u);
   Lintel::MsgDescription const* d = f.msgDesc(r[0].msgId);
   ASSERT_NE(d, nullptr);
   // The status is a reflected enum: one byte, and its type's name.
   EXPECT_EQ(d->types, Fen::String("psssse"));
   EXPECT_EQ(d->styles, Fen::String("-uxuxu"));
   EXPECT_THAT(d->typeNames, ElementsAre("", "", "", "", "", "Ulva::IntfEncapHwStatus"));
   EXPECT_EQ(r[0].text, Fen::String("Unit::action: (Ethernet3/1, 100:0x8100, 4095:0x8100) "
                                    "hwStatus hwStatusSuccess"));
   EXPECT_EQ(rendered(f),
             "7 1 Unit::action: (Ethernet3/1, 100:0x8100, 4095:0x8100) hwStatus "
             "hwStatusSuccess\n");
}

namespace {

// An enum of one byte that reflection does not know.
enum LocalColour : std::uint8_t { localRed = 1, localBlue = 2 };

void colours(LocalColour c, Ulva::ServiceIntfType t, Ulva::IntfEncapHwStatus s) {
   GANTRY_TRACE(6, "Unit::colours: %s %s %s", c, t, s);
}

}  // namespace

static_assert(Gantry::lintelTypeLetter<Ulva::IntfEncapHwStatus>() == 'e');
static_assert(Gantry::lintelTypeLetter<Ulva::IntfEncapHwStatus const&>() == 'e');
static_assert(Gantry::lintelTypeLetter<LocalColour>() == 'i');
static_assert(Gantry::lintelTypeLetter<Bridging::VlanTpid>() == 's');

TEST_F(LintelTrace, ReflectedEnumsPrintByNameOthersAsNumbers) {
   Lintel::TraceHandle h;
   install(&h);
   colours(localBlue, Ulva::serviceIntfTypeSubIntf, Ulva::hwStatusNotReady);
   // A byte that is no enumerator prints as its number.
   colours(localRed, Ulva::serviceIntfTypeSubIntf, static_cast<Ulva::IntfEncapHwStatus>(7));
   Lintel::TraceFile const& f = *h.traceFile();
   auto const r = f.renderedRecords();
   ASSERT_EQ(r.size(), 2u);
   Lintel::MsgDescription const* d = f.msgDesc(r[0].msgId);
   ASSERT_NE(d, nullptr);
   EXPECT_EQ(d->types, Fen::String("iee"));
   EXPECT_THAT(d->typeNames, ElementsAre("", "Ulva::ServiceIntfType", "Ulva::IntfEncapHwStatus"));
   EXPECT_EQ(r[0].text, Fen::String("Unit::colours: 2 serviceIntfTypeSubIntf hwStatusNotReady"));
   EXPECT_EQ(r[1].text, Fen::String("Unit::colours: 1 serviceIntfTypeSubIntf 7"));
   // Saved and read back, as lintel-dump prints it.
   std::stringstream saved;
   f.save(saved);
   std::ostringstream out;
   EXPECT_EQ(Lintel::renderTraceFiles(saved, out), 1u);
   EXPECT_EQ(out.str(),
             "6 1 Unit::colours: 2 serviceIntfTypeSubIntf hwStatusNotReady\n"
             "6 2 Unit::colours: 1 serviceIntfTypeSubIntf 7\n");
}

TEST_F(LintelTrace, TextTraceOfReflectedEnumIsUnchanged) {
   Lintel::TraceHandle h;
   install(&h);
   Fen::TraceHandle::levelMaskIs("LintelTestUnit", Fen::TraceFacility::levelBit(6));
   colours(localBlue, Ulva::serviceIntfTypeSubIntf, Ulva::hwStatusSuccess);
   ASSERT_EQ(lines().size(), 1u);
   std::ostringstream expected;
   expected << "Unit::colours: " << localBlue << " " << Ulva::serviceIntfTypeSubIntf << " "
            << Ulva::hwStatusSuccess;
   EXPECT_EQ(lines()[0], expected.str());
}

TEST_F(LintelTrace, ClosedRingSkipsRecordButTextStillRuns) {
   Lintel::RingSizes sizes = Lintel::RingSizes::defaults();
   sizes.bytes[8] = 0;
   Lintel::TraceHandle h(Lintel::TraceHandle::singleFile, sizes);
   install(&h);
   Fen::TraceHandle::levelMaskIs("LintelTestUnit", Fen::TraceFacility::levelBit(8));
   handler(false);
   EXPECT_TRUE(h.traceFile()->ring(8)->closed());
   EXPECT_EQ(h.traceFile()->ring(8)->records(), 0u);
   EXPECT_EQ(lines().size(), 1u);
}

TEST_F(LintelTrace, RingOverwriteKeepsNewestRecords) {
   Lintel::RingSizes sizes = Lintel::RingSizes::defaults();
   sizes.bytes[0] = 256;
   Lintel::TraceHandle h(Lintel::TraceHandle::singleFile, sizes);
   install(&h);
   for (int i = 0; i < 1000; ++i)
      counted(i);
   Lintel::RingBuf const& ring = *h.traceFile()->ring(0);
   // Each record: 16 bytes of header and 4 of argument, padded to 24.
   EXPECT_EQ(ring.capacity(), 256u);
   std::size_t const held = ring.records();
   EXPECT_GE(held, 9u);
   EXPECT_LE(held, 10u);
   EXPECT_EQ(ring.written(), 1000u);
   EXPECT_EQ(ring.overwritten(), 1000u - held);
   auto const r = h.traceFile()->renderedRecords();
   ASSERT_EQ(r.size(), held);
   for (std::size_t k = 0; k < held; ++k) {
      int const i = static_cast<int>(1000 - held + k);
      EXPECT_EQ(r[k].text, Fen::format("Unit::counted: %d", i));
      EXPECT_EQ(r[k].seq, static_cast<std::uint64_t>(i + 1));
   }
}

TEST_F(LintelTrace, RecordsOfMixedSizesWrapAroundIntact) {
   Lintel::RingSizes sizes = Lintel::RingSizes::defaults();
   sizes.bytes[8] = 128;
   Lintel::TraceHandle h(Lintel::TraceHandle::singleFile, sizes);
   install(&h);
   std::vector<std::string> names;
   for (int i = 0; i < 300; ++i) {
      std::string const name = "Ethernet" + std::to_string(i % 7 + 1) + "/" + std::to_string(i);
      names.push_back(name);
      GANTRY_TRACE(8, "Unit::mixed: %s %s", Fen::String(name), i % 2 == 0);
   }
   auto const r = h.traceFile()->renderedRecords();
   ASSERT_FALSE(r.empty());
   EXPECT_EQ(r.back().text, Fen::String("Unit::mixed: Ethernet6/299 false"));
   for (std::size_t k = 1; k < r.size(); ++k)
      EXPECT_EQ(r[k].seq, r[k - 1].seq + 1);
   std::size_t const first = 300 - r.size();
   for (std::size_t k = 0; k < r.size(); ++k) {
      EXPECT_EQ(r[k].text, Fen::String("Unit::mixed: " + names[first + k] +
                                       ((first + k) % 2 == 0 ? " true" : " false")));
   }
}

TEST_F(LintelTrace, RecordLargerThanRingIsDropped) {
   Lintel::RingSizes sizes = Lintel::RingSizes::defaults();
   sizes.bytes[8] = 64;
   Lintel::TraceHandle h(Lintel::TraceHandle::singleFile, sizes);
   install(&h);
   GANTRY_TRACE(8, "Unit::big: %s", std::string(100, 'x'));
   GANTRY_TRACE(8, "Unit::small: %s", std::string(4, 'y'));
   Lintel::RingBuf const& ring = *h.traceFile()->ring(8);
   EXPECT_EQ(ring.dropped(), 1u);
   EXPECT_EQ(ring.records(), 1u);
   EXPECT_EQ(h.traceFile()->renderedRecords().at(0).text, Fen::String("Unit::small: yyyy"));
}

TEST_F(LintelTrace, StringsLongerThanLimitAreCut) {
   Lintel::RingSizes sizes = Lintel::RingSizes::defaults();
   sizes.bytes[8] = 1 << 20;
   Lintel::TraceHandle h(Lintel::TraceHandle::singleFile, sizes);
   install(&h);
   GANTRY_TRACE(8, "Unit::long: %s", std::string(70000, 'z'));
   auto const r = h.traceFile()->renderedRecords();
   ASSERT_EQ(r.size(), 1u);
   EXPECT_EQ(r[0].text.size(), std::string("Unit::long: ").size() + 0xFFFF);
}

TEST_F(LintelTrace, NumbersKeepTheirSign) {
   Lintel::TraceHandle h;
   install(&h);
   std::int8_t const a = -5;
   std::int16_t const b = -300;
   std::int64_t const c = -7000000000ll;
   std::uint64_t const d = 7000000000ull;
   GANTRY_TRACE(3, "Unit::numbers: %s %s %s %s %s", a, b, c, d, 'A');
   auto const r = h.traceFile()->renderedRecords();
   ASSERT_EQ(r.size(), 1u);
   EXPECT_EQ(r[0].text, Fen::String("Unit::numbers: -5 -300 -7000000000 7000000000 65"));
   EXPECT_EQ(h.traceFile()->msgDesc(r[0].msgId)->types, Fen::String("islli"));
}

TEST_F(LintelTrace, StatementNumberIsSharedByFiles) {
   Lintel::TraceHandle first;
   Lintel::TraceHandle second;
   install(&first);
   handler(false);
   install(&second);
   handler(false);
   int const a = first.traceFile()->renderedRecords().at(0).msgId;
   int const b = second.traceFile()->renderedRecords().at(0).msgId;
   EXPECT_EQ(a, b);
   EXPECT_EQ(second.traceFile()->msgDescs(), 1u);
}

// ---- Per-thread files ----

TEST_F(LintelTrace, PerThreadFilesKeepEachThreadsRecords) {
   Lintel::TraceHandle h(Lintel::TraceHandle::filePerThread);
   EXPECT_EQ(h.mode(), Lintel::TraceHandle::filePerThread);
   install(&h);
   EXPECT_TRUE(h.traceFiles().empty());
   std::vector<std::thread> threads;
   std::vector<Lintel::TraceFile*> files(3, nullptr);
   for (int t = 0; t < 3; ++t) {
      threads.emplace_back([t, &files] {
         for (int i = 0; i < 50; ++i)
            counted(t * 1000 + i);
         files[static_cast<std::size_t>(t)] = Lintel::defaultLintelFile();
      });
   }
   for (auto& th : threads)
      th.join();
   std::vector<Lintel::TraceFile*> const all = h.traceFiles();
   ASSERT_EQ(all.size(), 3u);
   for (int t = 0; t < 3; ++t) {
      Lintel::TraceFile* f = files[static_cast<std::size_t>(t)];
      ASSERT_NE(f, nullptr);
      EXPECT_NE(std::find(all.begin(), all.end(), f), all.end());
      auto const r = f->renderedRecords();
      ASSERT_EQ(r.size(), 50u);
      EXPECT_EQ(f->msgDescs(), 1u);
      for (int i = 0; i < 50; ++i) {
         EXPECT_EQ(r[static_cast<std::size_t>(i)].text,
                   Fen::format("Unit::counted: %d", t * 1000 + i));
         EXPECT_EQ(r[static_cast<std::size_t>(i)].seq, static_cast<std::uint64_t>(i + 1));
      }
   }
   // The calling thread gets a file of its own, the same at each call.
   Lintel::TraceFile* mine = h.mtTraceFile();
   EXPECT_EQ(h.mtTraceFile(), mine);
   EXPECT_EQ(h.traceFiles().size(), 4u);
   EXPECT_EQ(mine->name(), Fen::String("thread 4"));
}

TEST_F(LintelTrace, PerThreadFilesSaveAndRenderTogether) {
   Lintel::TraceHandle h(Lintel::TraceHandle::filePerThread);
   install(&h);
   std::thread([] { counted(1); }).join();
   std::thread([] { counted(2); }).join();
   std::stringstream saved;
   h.save(saved);
   std::ostringstream out;
   EXPECT_EQ(Lintel::renderTraceFiles(saved, out), 2u);
   EXPECT_EQ(out.str(),
             "== thread 1 ==\n0 1 Unit::counted: 1\n== thread 2 ==\n0 1 Unit::counted: 2\n");
}

TEST_F(LintelTrace, ThreadKeepsItsFileWhenSwitchingHandles) {
   Lintel::TraceHandle a(Lintel::TraceHandle::filePerThread);
   Lintel::TraceHandle b(Lintel::TraceHandle::filePerThread);
   install(&a);
   counted(1);
   install(&b);
   counted(2);
   install(&a);
   counted(3);
   ASSERT_EQ(a.traceFiles().size(), 1u);
   ASSERT_EQ(b.traceFiles().size(), 1u);
   EXPECT_EQ(rendered(*a.traceFiles()[0]), "0 1 Unit::counted: 1\n0 2 Unit::counted: 3\n");
   EXPECT_EQ(rendered(*b.traceFiles()[0]), "0 1 Unit::counted: 2\n");
}

TEST_F(LintelTrace, NewHandleDoesNotReuseThreadFileOfOldOne) {
   auto first = std::make_unique<Lintel::TraceHandle>(Lintel::TraceHandle::filePerThread);
   install(first.get());
   counted(1);
   first.reset();
   EXPECT_EQ(Lintel::defaultLintelHandle.load(), nullptr);
   auto second = std::make_unique<Lintel::TraceHandle>(Lintel::TraceHandle::filePerThread);
   install(second.get());
   counted(2);
   ASSERT_EQ(second->traceFiles().size(), 1u);
   EXPECT_EQ(second->traceFiles()[0]->renderedRecords().size(), 1u);
}

// ---- Saved files ----

TEST_F(LintelTrace, SaveLoadRenderRoundTrip) {
   Lintel::RingSizes sizes = Lintel::RingSizes::defaults();
   sizes.bytes[0] = 128;
   Lintel::TraceHandle h(Lintel::TraceHandle::singleFile, sizes);
   install(&h);
   handler(false);
   encapAction(anEncap(), Ulva::hwStatusNotReady);
   for (int i = 0; i < 40; ++i)
      counted(i);
   handler(true);
   Lintel::TraceFile const& f = *h.traceFile();
   std::string const before = rendered(f);

   std::stringstream saved;
   f.save(saved);
   std::unique_ptr<Lintel::TraceFile> loaded = Lintel::TraceFile::load(saved);
   EXPECT_EQ(rendered(*loaded), before);
   EXPECT_EQ(loaded->msgDescs(), 3u);
   EXPECT_EQ(loaded->seq(), f.seq());
   EXPECT_EQ(loaded->ring(0)->overwritten(), f.ring(0)->overwritten());
   EXPECT_EQ(loaded->ring(0)->capacity(), 128u);
   EXPECT_THAT(before, HasSubstr("8 1 Unit::handler: Ethernet3/1 isDel:false\n"
                                 "7 2 Unit::action: (Ethernet3/1, 100:0x8100, 4095:0x8100) "
                                 "hwStatus hwStatusNotReady\n"));
   EXPECT_THAT(before, HasSubstr("0 42 Unit::counted: 39\n8 43 Unit::handler: Ethernet3/1 "
                                 "isDel:true\n"));
   // Saving the loaded file gives the same bytes.
   std::stringstream again;
   loaded->save(again);
   EXPECT_EQ(again.str(), saved.str());
}

TEST(LintelFile, LoadRefusesBadFiles) {
   Lintel::TraceFile f;
   int id = 0;
   Lintel::MsgDesc desc(&f, &id, "file.cpp", 3);
   Lintel::MsgFormatString types;
   types.put("s", 'u');
   desc << types << "Unit::f: "
        << "%s";
   desc.finish();
   Lintel::RingBuf* ring = f.ring(2);
   ASSERT_TRUE(ring->startMsg(&f, id, 2));
   *ring << std::uint16_t{42};
   ring->endMsg();
   std::stringstream good;
   f.save(good);
   std::string const bytes = good.str();
   EXPECT_EQ(rendered(*[&] {
                std::istringstream in(bytes);
                return Lintel::TraceFile::load(in);
             }()),
             "2 1 Unit::f: 42\n");

   auto loadError = [](std::string const& b) -> std::string {
      std::istringstream in(b);
      try {
         Lintel::TraceFile::load(in);
      } catch (Fen::RangeException const& e) {
         return e.what();
      }
      return "loaded";
   };
   EXPECT_THAT(loadError("not a trace file at all"), HasSubstr("does not start with LINTEL"));
   EXPECT_THAT(loadError(""), HasSubstr("cut short"));
   for (std::size_t cut : {std::size_t{9}, std::size_t{30}, bytes.size() / 2, bytes.size() - 1}) {
      EXPECT_THAT(loadError(bytes.substr(0, cut)), HasSubstr("cut short")) << cut;
   }
   // The record (24 bytes) comes before the 29 empty levels 3 to 31, each
   // saved in 36 bytes; its message number sits 4 bytes in.
   std::size_t const record = bytes.size() - 29 * 36 - 24;
   ASSERT_EQ(bytes[record], 24);
   std::string badId = bytes;
   std::uint32_t const otherId = static_cast<std::uint32_t>(id) + 1;
   std::memcpy(badId.data() + record + 4, &otherId, 4);
   EXPECT_THAT(loadError(badId), HasSubstr("not described"));
   std::string badSize = bytes;
   badSize[record] = 20;
   EXPECT_THAT(loadError(badSize), HasSubstr("bad size"));
   std::string badOrder = bytes;
   std::swap(badOrder[8], badOrder[11]);
   EXPECT_THAT(loadError(badOrder), HasSubstr("byte order"));

   std::istringstream empty("");
   std::ostringstream out;
   EXPECT_THROW(Lintel::renderTraceFiles(empty, out), Fen::RangeException);
}

TEST(LintelFile, RecordShorterThanItsTypesIsRefused) {
   Lintel::TraceFile f;
   int id = 0;
   Lintel::MsgDesc desc(&f, &id, "file.cpp", 3);
   Lintel::MsgFormatString types;
   types.put("i", 'u');
   types.put("i", 'u');
   types.put("i", 'u');
   desc << types << "Unit::f: %s %s %s";
   desc.finish();
   // Holds one number of the three.
   Lintel::RingBuf* ring = f.ring(2);
   ASSERT_TRUE(ring->startMsg(&f, id, 4));
   *ring << std::uint32_t{1};
   ring->endMsg();
   std::stringstream saved;
   f.save(saved);
   try {
      Lintel::TraceFile::load(saved);
      ADD_FAILURE() << "loaded";
   } catch (Fen::RangeException const& e) {
      EXPECT_THAT(e.what(), HasSubstr("arguments run past the end of the record"));
   }
   // Rendering what is in memory says so instead of failing.
   EXPECT_THAT(rendered(f), HasSubstr("arguments run past the end of the record"));
}

// ---- Files laid out by hand, as another writer or a damaged disk may leave them ----

namespace {

// A saved file written field by field (see Lintel/TraceFile.h).
struct SavedBytes {
   std::string bytes;

   SavedBytes& u32(std::uint32_t v) {
      bytes.append(reinterpret_cast<char const*>(&v), 4);
      return *this;
   }
   SavedBytes& u64(std::uint64_t v) {
      bytes.append(reinterpret_cast<char const*>(&v), 8);
      return *this;
   }
   SavedBytes& str(std::string_view s) {
      u32(static_cast<std::uint32_t>(s.size()));
      bytes.append(s);
      return *this;
   }
   // The format version of the file: 1 has no type names in its descriptions.
   char version = 1;

   SavedBytes& header(std::uint64_t nextSeq, std::uint32_t descs, std::string_view name = "",
                      char formatVersion = 1) {
      version = formatVersion;
      bytes.append("LINTEL\0", 7);
      bytes += version;
      return u32(0x01020304).str(name).u64(nextSeq).u32(descs);
   }
   // In version 2, `typeNames` are the description's type names (one per type
   // when not given: all empty).
   SavedBytes& desc(std::uint32_t id, std::string_view source, std::string_view types,
                    std::vector<std::string_view> const& pieces,
                    std::optional<std::vector<std::string_view>> const& typeNames = std::nullopt) {
      u32(id).u32(7).str(source).str(types).str(std::string(types.size(), 'u'));
      if (version >= 2) {
         std::vector<std::string_view> const names =
             typeNames ? *typeNames : std::vector<std::string_view>(types.size());
         u32(static_cast<std::uint32_t>(names.size()));
         for (std::string_view n : names)
            str(n);
      }
      u32(static_cast<std::uint32_t>(pieces.size()));
      for (std::string_view p : pieces)
         str(p);
      return *this;
   }
   SavedBytes& level(std::uint64_t capacity, std::string_view records,
                     std::optional<std::uint32_t> claimed = std::nullopt) {
      u64(capacity).u64(0).u64(0).u64(0);
      u32(claimed ? *claimed : static_cast<std::uint32_t>(records.size()));
      bytes.append(records);
      return *this;
   }
   SavedBytes& levels(std::uint32_t count = Lintel::levelCount) { return u32(count); }
   SavedBytes& closedLevels(int n) {
      for (int i = 0; i < n; ++i)
         level(0, "");
      return *this;
   }
};

// A record of one 32-bit argument.
std::string record(std::uint32_t msgId, std::uint64_t seq, std::uint32_t arg) {
   SavedBytes r;
   r.u32(24).u32(msgId).u64(seq).u32(arg).u32(0);
   return r.bytes;
}

std::string savedError(std::string const& bytes) {
   std::istringstream in(bytes);
   try {
      Lintel::SavedTraceFile::load(in);
   } catch (Fen::RangeException const& e) {
      return e.what();
   }
   return "loaded";
}

// Messages numbered n down to 1, "Unit::m<id>: %s", and a record of each at
// level id % 2.
std::string descendingFile(std::uint32_t n) {
   SavedBytes f;
   f.header(n + 1, n);
   for (std::uint32_t id = n; id > 0; --id) {
      std::string const text = "Unit::m" + std::to_string(id) + ": ";
      f.desc(id, "src/Unit.cpp", "i", {text, "%s"});
   }
   f.levels();
   std::string even;
   std::string odd;
   for (std::uint32_t seq = 1; seq <= n; ++seq)
      (seq % 2 ? odd : even) += record(seq, seq, seq * 10);
   f.level(4096, even).level(4096, odd).closedLevels(30);
   return f.bytes;
}

}  // namespace

TEST(LintelFile, DescriptionsInDescendingOrderLoadSortedAndRender) {
   std::string const bytes = descendingFile(50);
   std::istringstream in(bytes);
   std::unique_ptr<Lintel::SavedTraceFile> saved = Lintel::SavedTraceFile::load(in);
   ASSERT_EQ(saved->msgDescs().size(), 50u);
   for (std::size_t i = 0; i < 50; ++i)
      EXPECT_EQ(saved->msgDescs()[i].msgId, static_cast<int>(i + 1));
   std::ostringstream out;
   saved->render(out);
   EXPECT_THAT(out.str(),
               testing::StartsWith("1 1 Unit::m1: 10\n0 2 Unit::m2: 20\n1 3 Unit::m3: 30\n"));
   EXPECT_THAT(out.str(), testing::EndsWith("0 50 Unit::m50: 500\n"));

   // The writable file reads the same and saves its table in ascending order.
   std::istringstream again(bytes);
   std::unique_ptr<Lintel::TraceFile> writable = Lintel::TraceFile::load(again);
   EXPECT_EQ(rendered(*writable), out.str());
   EXPECT_TRUE(writable->msgKnown(50));
   EXPECT_EQ(writable->msgDesc(17)->pieces[0], Fen::String("Unit::m17: "));
   EXPECT_EQ(writable->ring(1)->capacity(), 4096u);
}

TEST(LintelFile, MessageDescribedTwiceInAnyOrderIsRefused) {
   SavedBytes f;
   f.header(1, 3).desc(5, "a.cpp", "", {"x"}).desc(2, "a.cpp", "", {"y"});
   f.desc(5, "b.cpp", "", {"z"}).levels().closedLevels(32);
   EXPECT_EQ(savedError(f.bytes), "bad Lintel trace file: message 5 is described twice");
}

TEST(LintelFile, UnknownTypeLetterIsRefusedWithTheDescription) {
   SavedBytes f;
   f.header(1, 1).desc(3, "a.cpp", "iq", {"%s %s"}).levels().closedLevels(32);
   EXPECT_EQ(savedError(f.bytes),
             "bad Lintel trace file: message 3 has the unknown type letter 'q'");
   SavedBytes g;
   g.header(1, 1).desc(3, "a.cpp", std::string_view("\x01", 1), {"%s"}).levels().closedLevels(32);
   EXPECT_EQ(savedError(g.bytes),
             "bad Lintel trace file: message 3 has the unknown type byte 0x01");
}

namespace {

// A record of one byte argument.
std::string byteRecord(std::uint32_t msgId, std::uint64_t seq, std::uint8_t arg) {
   SavedBytes r;
   r.u32(24).u32(msgId).u64(seq);
   r.bytes += static_cast<char>(arg);
   r.bytes.append(7, '\0');
   return r.bytes;
}

// A version 2 file of one message "s=%s" with an "e" argument of `typeName`,
// and a record of each of `values` at level 7.
std::string enumFile(std::string_view typeName, std::vector<std::uint8_t> const& values) {
   SavedBytes f;
   f.header(values.size() + 1, 1, "", 2).desc(1, "src/Unit.cpp", "e", {"s=", "%s"}, {{typeName}});
   std::string records;
   for (std::size_t i = 0; i < values.size(); ++i)
      records += byteRecord(1, i + 1, values[i]);
   f.levels().closedLevels(7).level(256, records).closedLevels(24);
   return f.bytes;
}

std::string renderedBytes(std::string const& bytes) {
   std::istringstream in(bytes);
   std::ostringstream out;
   Lintel::renderTraceFiles(in, out);
   return out.str();
}

}  // namespace

TEST(LintelFile, EnumeratorsPrintByNameWhenTheProcessKnowsTheType) {
   EXPECT_EQ(renderedBytes(enumFile("Ulva::IntfEncapHwStatus", {2, 0, 9})),
             "7 1 s=hwStatusSuccess\n7 2 s=hwStatusFailed\n7 3 s=9\n");
   // A file of a build with other enumerations: the numbers.
   EXPECT_EQ(renderedBytes(enumFile("Other::Status", {2, 0})), "7 1 s=2\n7 2 s=0\n");
   // A reflected type that is no enumeration, and no name at all.
   EXPECT_EQ(renderedBytes(enumFile("Ulva::IntfEncapHwStatusColl", {2})), "7 1 s=2\n");
   EXPECT_EQ(renderedBytes(enumFile("", {1})), "7 1 s=1\n");
   // The writable file renders the same and saves the names again.
   std::istringstream in(enumFile("Ulva::IntfEncapHwStatus", {1}));
   std::unique_ptr<Lintel::TraceFile> writable = Lintel::TraceFile::load(in);
   EXPECT_EQ(rendered(*writable), "7 1 s=hwStatusNotReady\n");
   std::stringstream saved;
   writable->save(saved);
   EXPECT_EQ(saved.str(), enumFile("Ulva::IntfEncapHwStatus", {1}));
}

TEST(LintelFile, VersionOneFilesAreReadAndSavedAsVersionTwo) {
   SavedBytes f;
   f.header(2, 1).desc(1, "a.cpp", "i", {"n=", "%s"}).levels();
   f.level(64, record(1, 1, 5)).closedLevels(31);
   EXPECT_EQ(renderedBytes(f.bytes), "0 1 n=5\n");
   std::istringstream in(f.bytes);
   std::unique_ptr<Lintel::TraceFile> writable = Lintel::TraceFile::load(in);
   std::stringstream saved;
   writable->save(saved);
   EXPECT_EQ(saved.str().substr(0, 8), std::string("LINTEL\0\2", 8));
   EXPECT_EQ(renderedBytes(saved.str()), "0 1 n=5\n");
   // Version 1 has no "e" arguments.
   SavedBytes g;
   g.header(1, 1).desc(3, "a.cpp", "e", {"%s"}).levels().closedLevels(32);
   EXPECT_EQ(savedError(g.bytes),
             "bad Lintel trace file: message 3 has the unknown type letter 'e'");
}

TEST(LintelFile, TypeNamesThatDoNotMatchTheTypesAreRefused) {
   SavedBytes f;
   f.header(1, 1, "", 2).desc(3, "a.cpp", "ie", {"%s %s"}, {{"Ulva::IntfEncapHwStatus"}});
   f.levels().closedLevels(32);
   EXPECT_EQ(savedError(f.bytes), "bad Lintel trace file: message 3 has 2 types but 1 type names");
   SavedBytes g;
   g.header(1, 1, "", 2).desc(3, "a.cpp", "ie", {"%s %s"}, {{"Ulva::ServiceIntfType", ""}});
   g.levels().closedLevels(32);
   EXPECT_EQ(savedError(g.bytes),
             "bad Lintel trace file: message 3 names a type for argument 0, which is no "
             "enumeration");
   // A version this reader does not know.
   SavedBytes h;
   h.header(1, 0, "", 3).levels().closedLevels(32);
   EXPECT_EQ(savedError(h.bytes), "bad Lintel trace file: it is of format version 3, not 1 or 2");
}

TEST(LintelFile, ClaimsPastTheEndAreCutShortBeforeTheyAreMade) {
   // A ring of 1 GiB whose records claim 1 GiB, with one record there.
   SavedBytes f;
   f.header(2, 1).desc(1, "a.cpp", "i", {"%s"}).levels();
   f.level(std::uint64_t{1} << 30, record(1, 1, 5), 1u << 30).closedLevels(31);
   EXPECT_EQ(savedError(f.bytes),
             "bad Lintel trace file: it is cut short: it claims 1073741824 bytes for the "
             "records (level 0), but only 1140 are left");
   // A count of descriptions that the file does not hold.
   SavedBytes g;
   g.header(1, 1000).desc(1, "a.cpp", "", {"x"});
   EXPECT_EQ(savedError(g.bytes),
             "bad Lintel trace file: it is cut short while reading a message number "
             "(description 2 of the 1000 it claims)");
   // A string longer than the format allows.
   SavedBytes h;
   h.header(1, 1).u32(1).u32(1).u32(0xFFFFFFFFu);
   EXPECT_EQ(savedError(h.bytes),
             "bad Lintel trace file: a source file name (description 1 of the 1 it claims) is "
             "4294967295 bytes long, more than 1048576");
   // Records longer than their ring.
   SavedBytes k;
   k.header(2, 1).desc(1, "a.cpp", "i", {"%s"}).levels().closedLevels(3);
   k.level(64, std::string(128, '\0')).closedLevels(28);
   EXPECT_EQ(savedError(k.bytes),
             "bad Lintel trace file: level 3: 128 bytes of records do not fit a ring of 64 bytes");
   // A ring size that is not one.
   SavedBytes m;
   m.header(1, 0).levels().level(100, "").closedLevels(31);
   EXPECT_EQ(savedError(m.bytes), "bad Lintel trace file: level 0 has a ring of 100 bytes");
   SavedBytes n;
   n.header(1, 0).levels(31);
   EXPECT_EQ(savedError(n.bytes), "bad Lintel trace file: it has 31 levels, not 32");
}

TEST(LintelFile, WellFormedFileOfHugeRingsHoldsOnlyItsBytes) {
   // Every level claims 1 GiB and holds one record: read for printing, each
   // level keeps its 24 bytes.
   SavedBytes f;
   f.header(33, 1).desc(1, "a.cpp", "i", {"n=", "%s"}).levels();
   for (std::uint32_t level = 0; level < Lintel::levelCount; ++level)
      f.level(std::uint64_t{1} << 30, record(1, level + 1, level));
   std::istringstream in(f.bytes);
   std::unique_ptr<Lintel::SavedTraceFile> saved = Lintel::SavedTraceFile::load(in);
   for (int level = 0; level < Lintel::levelCount; ++level) {
      EXPECT_EQ(saved->level(level).capacity, std::uint64_t{1} << 30);
      EXPECT_EQ(saved->level(level).records.size(), 24u);
   }
   std::ostringstream out;
   saved->render(out);
   EXPECT_THAT(out.str(), testing::StartsWith("0 1 n=0\n1 2 n=1\n"));
}

TEST(LintelFile, FilterKeepsLevelsAndFacilities) {
   SavedBytes f;
   f.header(5, 2).desc(2, "WexVlanMapping/WexIntfEncapSm.cpp", "i", {"encap ", "%s"});
   f.desc(1, "WexVlanMapping/WexDynamicEncapSm.cpp", "i", {"dynamic ", "%s"}).levels();
   f.closedLevels(7).level(64, record(2, 1, 1) + record(1, 3, 3)).level(64, record(2, 2, 2));
   f.level(64, record(1, 4, 4)).closedLevels(22);
   std::istringstream in(f.bytes);
   std::unique_ptr<Lintel::SavedTraceFile> saved = Lintel::SavedTraceFile::load(in);
   EXPECT_EQ(Lintel::msgFacility(*saved->msgDesc(2)), "WexIntfEncapSm");
   auto text = [&](Lintel::RenderFilter const& filter) {
      std::ostringstream out;
      saved->render(out, filter);
      return out.str();
   };
   EXPECT_EQ(text({}), "7 1 encap 1\n8 2 encap 2\n7 3 dynamic 3\n9 4 dynamic 4\n");
   Lintel::RenderFilter levels;
   levels.levels = (1u << 8) | (1u << 9);
   EXPECT_EQ(text(levels), "8 2 encap 2\n9 4 dynamic 4\n");
   Lintel::RenderFilter facility;
   facility.facilities = {Fen::String("WexDynamicEncapSm")};
   EXPECT_EQ(text(facility), "7 3 dynamic 3\n9 4 dynamic 4\n");
   facility.levels = 1u << 7;
   EXPECT_EQ(text(facility), "7 3 dynamic 3\n");
   facility.facilities.emplace_back("WexIntfEncapSm");
   EXPECT_EQ(text(facility), "7 1 encap 1\n7 3 dynamic 3\n");
}

TEST(LintelFile, RenderingStopsAtTheFirstLineTheStreamRefuses) {
   std::string const bytes = descendingFile(20);
   std::istringstream in(bytes);
   auto const files = Lintel::loadTraceFiles(in);
   std::ostringstream out;
   out.setstate(std::ios::badbit);
   Lintel::renderTraceFiles(files, out);
   EXPECT_TRUE(out.str().empty());
   EXPECT_TRUE(out.bad());
}

// ---- The ring and the description API directly ----

TEST(LintelRing, LowLevelWriteAndRead) {
   Lintel::TraceFile f(Lintel::RingSizes::uniform(0));
   f.ringSizeIs(5, 100);
   EXPECT_EQ(f.ring(5)->capacity(), 128u);
   EXPECT_TRUE(f.ring(4)->closed());
   int id = 0;
   Lintel::MsgDesc desc(&f, &id, "here.cpp", 10);
   Lintel::MsgFormatString types;
   types.put("p");
   types.put("b");
   types.put("s", 'x');
   types.put("i", 'd');
   desc << types << "Unit::low: "
        << "%s"
        << " "
        << "%s"
        << " "
        << "%s"
        << " "
        << "%s";
   EXPECT_EQ(id, 0);
   int const number = desc.finish();
   EXPECT_EQ(id, number);
   EXPECT_TRUE(f.msgKnown(id));
   EXPECT_FALSE(f.msgKnown(0));
   EXPECT_FALSE(f.ring(4)->startMsg(&f, id, 4));

   Lintel::RingBuf* ring = f.ring(5);
   std::size_t const bytes = Lintel::RingBuf::stringBytes("Vlan7") + 1 + 2 + 4;
   ASSERT_TRUE(ring->startMsg(&f, id, bytes));
   put(ring, "Vlan7");
   *ring << true << std::uint16_t{0x88a8} << static_cast<std::uint32_t>(-9);
   ring->endMsg();
   EXPECT_EQ(rendered(f), "5 1 Unit::low: Vlan7 true 0x88a8 -9\n");
}

TEST(LintelRing, ResizingDropsRecords) {
   Lintel::RingBuf ring(64);
   Lintel::TraceFile f;
   ASSERT_TRUE(ring.startMsg(&f, 1, 0));
   ring.endMsg();
   EXPECT_EQ(ring.records(), 1u);
   ring.capacityIs(1000);
   EXPECT_EQ(ring.capacity(), 1024u);
   EXPECT_EQ(ring.records(), 0u);
   EXPECT_EQ(ring.written(), 0u);
   ring.capacityIs(1);
   EXPECT_EQ(ring.capacity(), Lintel::RingBuf::capacityMin);
}
