// TestSupport::TraceCapture: the one capture of text trace lines for tests.
//
// For its lifetime it sets the level mask of each facility it watches and keeps
// every line those facilities write, with the level each came at, in order;
// lines of other facilities pass by. At its end it puts back the sink and the
// masks it found.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "Fen/Trace.h"

namespace TestSupport {

class TraceCapture {
public:
   struct Line {
      std::string facility;
      int level;
      std::string text;
   };

   // Watches `facilities` at the levels of `mask`.
   explicit TraceCapture(std::initializer_list<char const*> facilities = {"WexIntfEncapSm"},
                         std::uint32_t mask = Fen::TraceFacility::allLevels) {
      for (char const* f : facilities) {
         savedMasks_.emplace_back(f, Fen::TraceHandle::levelMask(f));
         Fen::TraceHandle::levelMaskIs(f, mask);
      }
      savedSink_ =
          Fen::traceSinkIs([this](Fen::String const& facility, int level, Fen::String const& text) {
             std::string f = facility.stdString();
             bool const watched = std::any_of(savedMasks_.begin(), savedMasks_.end(),
                                              [&f](auto const& saved) { return saved.first == f; });
             if (!watched) return;
             texts_.push_back(text.stdString());
             lines_.push_back({std::move(f), level, text.stdString()});
          });
   }
   // Watches one facility at the levels of `mask`.
   explicit TraceCapture(std::uint32_t mask, char const* facility = "WexIntfEncapSm")
       : TraceCapture({facility}, mask) {}
   ~TraceCapture() {
      Fen::traceSinkIs(savedSink_);
      for (auto const& [f, m] : savedMasks_)
         Fen::TraceHandle::levelMaskIs(f.c_str(), m);
   }
   TraceCapture(TraceCapture const&) = delete;
   TraceCapture& operator=(TraceCapture const&) = delete;

   // Every text, in order, whatever its level.
   std::vector<std::string> const& lines() const { return texts_; }
   // Every line with its facility and level.
   std::vector<Line> const& records() const { return lines_; }
   bool contains(std::string const& text) const {
      return std::find(texts_.begin(), texts_.end(), text) != texts_.end();
   }
   // The texts that contain `part`.
   std::vector<std::string> matching(std::string const& part) const {
      std::vector<std::string> out;
      for (auto const& t : texts_) {
         if (t.find(part) != std::string::npos) out.push_back(t);
      }
      return out;
   }
   // The texts written at `level`, in order.
   std::vector<std::string> linesAt(int level) const {
      std::vector<std::string> out;
      for (auto const& l : lines_) {
         if (l.level == level) out.push_back(l.text);
      }
      return out;
   }
   // The texts that begin with `prefix`; a test failure when any of them stands
   // at another level than `level`.
   std::vector<std::string> startingWithAt(std::string const& prefix, int level) const {
      std::vector<std::string> out;
      for (auto const& t : linesAt(level)) {
         if (t.rfind(prefix, 0) == 0) out.push_back(t);
      }
      auto const anyLevel =
          std::count_if(texts_.begin(), texts_.end(),
                        [&prefix](std::string const& t) { return t.rfind(prefix, 0) == 0; });
      EXPECT_EQ(out.size(), static_cast<std::size_t>(anyLevel))
          << prefix << "at a level other than " << level;
      return out;
   }
   void clear() {
      lines_.clear();
      texts_.clear();
   }

private:
   std::vector<std::pair<std::string, std::uint32_t>> savedMasks_;
   Fen::TraceSink savedSink_;
   std::vector<Line> lines_;
   std::vector<std::string> texts_;
};

}  // namespace TestSupport
