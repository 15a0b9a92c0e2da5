// RapidCheck generators of model values for the string form tests, and the
// checks that every record's text must pass: round trip, cut text, changed
// characters, text appended.
#pragma once

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <cstdint>
#include <sstream>
#include <string>
#include <utility>

#include "Bridging/VlanTpid.h"
#include "Fen/Exception.h"
#include "Fen/Strep.h"
#include "Fen/String.h"
#include "Kestin/IntfId.h"
#include "Ulva/IntfEncap.h"
#include "Ulva/IntfEncapHwStatus.h"
#include "Ulva/ServiceIntfFwdInfo.h"
#include "Ulva/VlanTag.h"

namespace StrepGen {

// A number in [lo, hi], over the whole range at full size.
inline rc::Gen<std::uint32_t> number(std::uint32_t lo, std::uint32_t hi) {
   return rc::gen::weightedOneOf<std::uint32_t>({
       {1, rc::gen::element(lo, hi)},
       {8, rc::gen::inRange<std::uint32_t>(lo, hi + 1)},
   });
}

inline std::string num(std::uint32_t lo, std::uint32_t hi) {
   return std::to_string(*number(lo, hi));
}

// A valid interface name of any kind: Ethernet ports of one, two or three
// numbers, port channels, VLAN interfaces and sub-interfaces of ports and LAGs.
inline rc::Gen<std::string> intfName() {
   return rc::gen::exec([] {
      auto ethernet = [] {
         std::string name = "Ethernet" + num(1, 65535);
         int const depth = *rc::gen::inRange(0, 3);
         if (depth >= 1) name += "/" + num(1, 4095);
         if (depth >= 2) name += "/" + num(1, 4095);
         return name;
      };
      switch (*rc::gen::inRange(0, 5)) {
         case 0:
            return ethernet();
         case 1:
            return "Port-Channel" + num(1, 65535);
         case 2:
            return "Vlan" + num(1, 4094);
         case 3:
            return ethernet() + "." + num(1, 1048575);
         default:
            return "Port-Channel" + num(1, 65535) + "." + num(1, 1048575);
      }
   });
}

// The default id now and then, otherwise a named interface.
inline rc::Gen<Kestin::IntfId> intfId() {
   return rc::gen::weightedOneOf<Kestin::IntfId>({
       {1, rc::gen::just(Kestin::IntfId())},
       {9,
        rc::gen::map(intfName(), [](std::string const& n) { return Kestin::IntfId(n.c_str()); })},
   });
}

inline rc::Gen<Bridging::VlanTpid> tpid() {
   return rc::gen::weightedOneOf<Bridging::VlanTpid>({
       {2, rc::gen::element(Bridging::vlanTpid8100, Bridging::vlanTpid88a8, Bridging::vlanTpid9100,
                            Bridging::vlanTpid9200)},
       {3, rc::gen::map(number(0, 0xFFFF),
                        [](std::uint32_t t) { return static_cast<Bridging::VlanTpid>(t); })},
   });
}

inline rc::Gen<Ulva::VlanTag> vlanTag() {
   return rc::gen::exec([] {
      Ulva::VlanTag tag;
      tag.vidIs(*rc::gen::weightedOneOf<std::uint32_t>({
          {1, rc::gen::just<std::uint32_t>(Ulva::VlanTag::vidDefault)},
          {4, number(0, Ulva::VlanTag::vidMax)},
      }));
      tag.tpidIs(*tpid());
      tag.tagFlagsIs(static_cast<std::uint8_t>(*rc::gen::weightedOneOf<std::uint32_t>({
          {3, rc::gen::just<std::uint32_t>(0)},
          {1, number(0, 255)},
      })));
      return tag;
   });
}

inline rc::Gen<Ulva::VlanTagEncap> vlanTagEncap() {
   return rc::gen::exec([] { return Ulva::VlanTagEncap(*vlanTag(), *vlanTag()); });
}

inline rc::Gen<Ulva::IntfEncap> intfEncap() {
   return rc::gen::exec([] { return Ulva::IntfEncap(*intfId(), *vlanTagEncap()); });
}

// Any byte is a service type; most of them have no name.
inline rc::Gen<Ulva::ServiceIntfType> serviceIntfType() {
   return rc::gen::map(number(0, 255),
                       [](std::uint32_t t) { return static_cast<Ulva::ServiceIntfType>(t); });
}

inline rc::Gen<Ulva::ServiceIntfFwdInfo> serviceIntfFwdInfo() {
   return rc::gen::exec([] {
      Ulva::ServiceIntfFwdInfo info(*intfId());
      info.serviceTypeIs(*serviceIntfType());
      info.fwdDataIs(static_cast<std::uint16_t>(*number(0, 0xFFFF)));
      return info;
   });
}

inline rc::Gen<Ulva::IntfEncapHwStatus> hwStatus() {
   return rc::gen::element(Ulva::hwStatusFailed, Ulva::hwStatusNotReady, Ulva::hwStatusSuccess);
}

// Runs a property as the current Google Test with at least `successes` cases
// (RC_PARAMS may ask for more, and sets the seed).
template <typename Testable>
void checkCases(int successes, Testable&& testable) {
   auto const* info = testing::UnitTest::GetInstance()->current_test_info();
   rc::detail::TestMetadata metadata;
   metadata.id = std::string(info->test_suite_name()) + "/" + info->name();
   metadata.description = info->name();
   rc::detail::TestParams params = rc::detail::configuration().testParams;
   params.maxSuccess = std::max(params.maxSuccess, successes);
   auto const result = rc::detail::checkProperty(
       rc::detail::toProperty(std::forward<Testable>(testable)), metadata, params);
   if (!result.template is<rc::detail::SuccessResult>()) {
      std::ostringstream os;
      rc::detail::printResultMessage(result, os);
      FAIL() << os.str();
   }
}

// Parses all of `text` as a T.
template <typename T>
T parse(Fen::String const& text) {
   T value{};
   Fen::strepToValue(text, &value);
   return value;
}

// The message of the refusal of `text`; fails the property when it parses.
template <typename T>
std::string refusal(std::string const& text) {
   try {
      parse<T>(Fen::String(text));
   } catch (Fen::RangeException const& e) {
      return e.what();
   }
   RC_FAIL("accepted: " + text);
   return {};
}

// The string form of `value` parses back to an equal value, and the text of the
// value parsed is the same text again.
template <typename T>
void checkRoundTrip(T const& value) {
   Fen::String const text = valueToStrep(value);
   T const back = parse<T>(text);
   RC_ASSERT(back == value);
   RC_ASSERT(valueToStrep(back) == text);
}

// Every cut of the text, at every position, is refused, and the message says
// that the text ended.
template <typename T>
void checkCutTextRefused(T const& value) {
   std::string const text = valueToStrep(value).stdString();
   for (std::size_t n = 0; n < text.size(); ++n) {
      std::string const message = refusal<T>(text.substr(0, n));
      if (message.find("the end of the text") == std::string::npos) {
         RC_FAIL("cut at " + std::to_string(n) + ": " + message);
      }
   }
}

// A text with one character changed is either refused with a message or is
// exactly the text of the value it gives: no other outcome.
template <typename T>
void checkChangedCharacter(T const& value) {
   std::string text = valueToStrep(value).stdString();
   std::size_t const at = *rc::gen::inRange<std::size_t>(0, text.size());
   char const c = *rc::gen::weightedOneOf<char>({
       {3, rc::gen::element('\'', ',', ' ', ':', '{', '}', '(', ')', '*', '0', '9', 'x', 'a', '/',
                            '.', '-', '_', '\0', '\xff')},
       {1, rc::gen::arbitrary<char>()},
   });
   RC_PRE(text[at] != c);
   text[at] = c;
   try {
      T const back = parse<T>(Fen::String(text));
      RC_ASSERT(valueToStrep(back).stdString() == text);
   } catch (Fen::RangeException const& e) {
      RC_ASSERT(std::string(e.what()).size() > 0u);
   }
}

// Text after the closing "})" is refused as left over, quoting it.
template <typename T>
void checkAppendedTextRefused(T const& value) {
   std::string const extra = *rc::gen::nonEmpty(rc::gen::string<std::string>());
   std::string const message = refusal<T>(valueToStrep(value).stdString() + extra);
   RC_ASSERT(message.find("text left over") != std::string::npos);
}

}  // namespace StrepGen
