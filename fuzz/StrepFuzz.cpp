// Feeds arbitrary text to every string-form parser of the model and of the
// system's records. A parser may refuse a text, with Fen::RangeException and
// nothing else; and a text that it accepts must be exactly the text of the value
// it gives, since every value has one text. Anything else aborts.
//
// Built with -fsanitize=fuzzer this is a libFuzzer target; built plain (with
// WEXVM_FUZZ_REPLAY) it replays the files and folders named on its command line,
// as ctest does with the seed corpus.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "Bridging/VlanTpid.h"
#include "Fen/Exception.h"
#include "Fen/Strep.h"
#include "Fen/String.h"
#include "Kestin/IntfId.h"
#include "Ulva/IntfEncap.h"
#include "Ulva/IntfEncapHwStatus.h"
#include "Ulva/ServiceIntfFwdInfo.h"
#include "Ulva/VlanTag.h"
#include "WexVlanMapping/WexIntfEncap.h"

namespace {

[[noreturn]] void fail(char const* what, Fen::String const& text, Fen::String const& detail) {
   std::fprintf(stderr, "%s\n  input: %s\n  detail: %s\n", what, text.charPtr(), detail.charPtr());
   std::abort();
}

// Inputs that some parser took, for the replay's report.
std::size_t acceptedInputs = 0;

template <typename T>
bool parseAs(Fen::String const& text) {
   T value{};
   try {
      Fen::strepToValue(text, &value);
   } catch (Fen::RangeException const& e) {
      if (e.message().empty()) fail("refusal without a message", text, Fen::String());
      return false;
   }
   Fen::String const again = valueToStrep(value);
   if (again != text) fail("accepted text is not the text of its value", text, again);
   return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
   Fen::String const text(std::string(reinterpret_cast<char const*>(data), size));
   // Each parser sees every input; all must hold, whichever takes it.
   int accepted = 0;
   accepted += parseAs<Kestin::IntfId>(text);
   accepted += parseAs<Bridging::VlanTpid>(text);
   accepted += parseAs<Ulva::VlanTag>(text);
   accepted += parseAs<Ulva::VlanTagEncap>(text);
   accepted += parseAs<Ulva::IntfEncap>(text);
   accepted += parseAs<Ulva::ServiceIntfType>(text);
   accepted += parseAs<Ulva::ServiceIntfFwdInfo>(text);
   accepted += parseAs<Ulva::IntfEncapHwStatus>(text);
   accepted += parseAs<WexVlanMapping::WexIntfEncapSource>(text);
   accepted += parseAs<WexVlanMapping::WexDynamicIntfEncapInfo>(text);
   accepted += parseAs<WexVlanMapping::WexIntfEncapHwConfig>(text);
   if (accepted > 0) ++acceptedInputs;

   // The enumeration by name and by number.
   try {
      WexVlanMapping::WexIntfEncapSource const s = WexVlanMapping::WexIntfEncapSourceInstance(text);
      if (WexVlanMapping::stringValue(s) != text) fail("name is not the enumerator's", text, "");
   } catch (Fen::RangeException const&) {
   }
   FuzzedDataProvider provider(data, size);
   unsigned const number = provider.ConsumeIntegral<unsigned>();
   try {
      WexVlanMapping::WexIntfEncapSource const s =
          WexVlanMapping::WexIntfEncapSourceInstance(number);
      if (static_cast<unsigned>(s) != number) fail("number is not the enumerator's", text, "");
   } catch (Fen::RangeException const&) {
      if (number <= 1) fail("enumerator refused", text, "");
   }
   return 0;
}

#ifdef WEXVM_FUZZ_REPLAY

#include "FuzzReplay.h"

std::string fuzzReplayTail() {
   return ", " + std::to_string(acceptedInputs) + " of them the text of a value";
}

#endif
