// Fen::TypeOf<T>: the module and type index of a reflected type, named where the
// type is declared so that whoever describes an attribute of that type finds it.
//
//   FEN_TYPE_IN_MODULE(Ns::Type, Ns::moduleVariable, index)   (at global scope)
//
// says that Ns::Type is type `index` of the module `moduleVariable` (a
// Fen::FenModule declared extern beforehand).
#pragma once

#include <cstdint>

#include "Fen/Ptr.h"

namespace Fen {

template <class T>
struct TypeOf;

template <class T>
FwkType fwkTypeOf() {
   return {TypeOf<T>::module, TypeOf<T>::index};
}

}  // namespace Fen

#define FEN_TYPE_IN_MODULE(Type, moduleVariable, typeIndex)                         \
   template <>                                                                      \
   struct Fen::TypeOf<Type> {                                                       \
      static constexpr ::Fen::FenModule const* module = &(moduleVariable);          \
      static constexpr std::uint16_t index = static_cast<std::uint16_t>(typeIndex); \
   };

// fwkType() of a counted class that is reflected: its module and index.
#define FEN_FWK_TYPE(Class)                  \
   ::Fen::FwkType fwkType() const override { \
      return ::Fen::fwkTypeOf<Class>();      \
   }
