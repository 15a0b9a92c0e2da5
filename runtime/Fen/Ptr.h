// Counted objects of the Fen runtime.
//
// Fen::VFPtrInterface  the reference word of a counted object.
// Fen::PtrInterface    the polymorphic base of every counted object.
// Fen::Ptr<T>          the counted pointer; nobody frees by hand.
// Fen::fenObjectIs<T>  the allocation sequence every factory runs.
//
// Reference word
// --------------
//   bit 31     marked for deletion (`fenMarkedForDeletion()`)
//   bit 30     part of the count as far as the zero test goes; never set here
//   bit 29     notification active (`hasNotificationActiveIs`)
//   bits 28-0  reference count
// The object dies when, after a decrement, word & 0x5FFFFFFF is zero: bits 31 and
// 29 never keep an object alive, bit 30 does.
//
// Thread safety
// -------------
// A count changes by a plain add while `threadSafePointers_` is zero and by a
// locked add while it is set. An agent that shares objects between threads sets
// it before it shares them. Nothing else of an object is protected.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>
#include <utility>

#include "Fen/AllocTrack.h"

namespace Fen {

class NotifieeList;
class PtrInterface;
struct FenModule;

class VFPtrInterface {
public:
   static constexpr std::uint32_t markedForDeletionBit = 0x80000000u;
   static constexpr std::uint32_t reservedBit = 0x40000000u;
   static constexpr std::uint32_t notificationActiveBit = 0x20000000u;
   static constexpr std::uint32_t zeroTestMask = 0x5FFFFFFFu;

   // Process-wide: zero picks the plain add, anything else the locked add.
   static inline std::uint8_t threadSafePointers_ = 0;

   void referencesInc() const {
      if (threadSafePointers_) {
         std::atomic_ref<std::uint32_t>(refWord_).fetch_add(1, std::memory_order_relaxed);
      } else {
         ++refWord_;
      }
   }
   // Drops one reference; destroys the object when the masked word reaches zero.
   // Returns the masked value.
   std::uint32_t referencesDec() const {
      std::uint32_t word;
      if (threadSafePointers_) {
         word =
             std::atomic_ref<std::uint32_t>(refWord_).fetch_sub(1, std::memory_order_acq_rel) - 1;
      } else {
         word = --refWord_;
      }
      std::uint32_t const masked = word & zeroTestMask;
      if (masked == 0) handleZeroRef();
      return masked;
   }
   bool fenMarkedForDeletion() const { return (refWord_ & markedForDeletionBit) != 0; }
   void fenMarkedForDeletionIs(bool marked) const { bitIs(markedForDeletionBit, marked); }
   bool hasNotificationActive() const { return (refWord_ & notificationActiveBit) != 0; }
   // The count alone (bits 28-0).
   std::uint32_t references() const { return refWord_ & 0x1FFFFFFFu; }
   std::uint32_t referenceWord() const { return refWord_; }

protected:
   void bitIs(std::uint32_t bit, bool on) const {
      if (threadSafePointers_) {
         std::atomic_ref<std::uint32_t> w(refWord_);
         if (on) {
            w.fetch_or(bit, std::memory_order_relaxed);
         } else {
            w.fetch_and(~bit, std::memory_order_relaxed);
         }
      } else if (on) {
         refWord_ |= bit;
      } else {
         refWord_ &= ~bit;
      }
   }
   // Last reference gone: the hooks have their say, then the deleting destructor.
   void handleZeroRef() const;

   // A new object starts with one reference, owned by the code that allocated it.
   mutable std::uint32_t refWord_ = 1;
};

// What notifieeList() gives back: the count 1 and the address of the object's
// list, or zeros for an object that notifies nobody.
struct NotifieeListDesc {
   std::uint32_t count = 0;
   NotifieeList* list = nullptr;
   void* reserved0 = nullptr;
   void* reserved1 = nullptr;
};

// The type of an object: its module and the class's index in it.
struct FwkType {
   FenModule const* module = nullptr;
   std::uint16_t index = 0;
   friend bool operator==(FwkType const&, FwkType const&) = default;
};

class PtrInterface : public VFPtrInterface {
public:
   // The base of every reactor (defined in Fen/Notifiee.h).
   class NotifieeConst;

   PtrInterface() = default;
   PtrInterface(PtrInterface const&) = delete;
   PtrInterface& operator=(PtrInterface const&) = delete;

   // Virtual operations, in this order.
   virtual NotifieeListDesc notifieeList() const { return {}; }
   virtual void hasNotificationActiveIs(bool active) { bitIs(notificationActiveBit, active); }
   virtual void zeroReferencesIs(bool) {}
   virtual FwkType fwkType() const { return {}; }
   virtual ~PtrInterface() = default;
   // The allocation record of the object's most derived class; its deleting
   // destructor undoes the allocation against it.
   virtual AllocTrackTypeInfo* fenAllocTrackTypeInfo() const { return nullptr; }
   // Called when the last reference is gone, after zeroReferencesIs(true) and
   // before destruction: the say of a derived class (a reactor's
   // onZeroReferences) without the counting layer knowing it.
   virtual void fenLastReferenceGone() {}

   // Raw storage for one object.
   static void* fenMemAlloc(std::size_t size) { return ::operator new(size); }
   static void fenMemFree(void* p) { ::operator delete(p); }

   friend class VFPtrInterface;
};

// Counted pointer, one machine pointer wide, may be null. `Ptr<T const>` is the
// pointer to a read-only view of the same object.
template <class T>
class Ptr {
public:
   using element_type = T;

   Ptr() = default;
   Ptr(std::nullptr_t) {}
   Ptr(T* p) : p_(p) {
      if (p_) p_->referencesInc();
   }
   Ptr(Ptr const& o) : p_(o.p_) {
      if (p_) p_->referencesInc();
   }
   Ptr(Ptr&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
   template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
   Ptr(Ptr<U> const& o) : p_(o.ptr()) {
      if (p_) p_->referencesInc();
   }
   template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
   Ptr(Ptr<U>&& o) noexcept : p_(o.release()) {}
   ~Ptr() {
      if (p_) p_->referencesDec();
   }
   Ptr& operator=(Ptr o) noexcept {
      std::swap(p_, o.p_);
      return *this;
   }

   // Takes over a reference the caller already owns (no increment).
   static Ptr adopt(T* p) {
      Ptr r;
      r.p_ = p;
      return r;
   }
   // Gives up the reference without a decrement.
   T* release() { return std::exchange(p_, nullptr); }

   T* ptr() const { return p_; }
   T* operator->() const { return p_; }
   T& operator*() const { return *p_; }
   explicit operator bool() const { return p_ != nullptr; }
   template <class U>
   friend bool operator==(Ptr const& a, Ptr<U> const& b) {
      return static_cast<void const*>(a.ptr()) == static_cast<void const*>(b.ptr());
   }
   friend bool operator==(Ptr const& a, std::nullptr_t) { return a.p_ == nullptr; }

private:
   T* p_ = nullptr;
};

// Checked downcast; a wrong type or null gives null.
template <class T, class U>
Ptr<T> ptrCast(Ptr<U> const& p) {
   return Ptr<T>(dynamic_cast<T*>(p.ptr()));
}

// The allocation sequence of every counted object:
//   1. track the allocation against the class's record,
//   2. raw storage,
//   3. construct (a throw undoes 1 and 2),
//   4. turn notification on (a throw drops the one reference),
//   5. hand the one reference to the caller.
template <class T, class... A>
Ptr<T> fenObjectIs(A&&... args) {
   AllocTrackTypeInfo::_trackAllocation(&T::fenAllocTrackTypeInfo_, T::fenTypeName(), sizeof(T),
                                        alignof(T));
   void* mem = PtrInterface::fenMemAlloc(sizeof(T));
   T* obj;
   try {
      obj = ::new (mem) T(std::forward<A>(args)...);
   } catch (...) {
      AllocTrackTypeInfo::trackDeallocation(T::fenAllocTrackTypeInfo_);
      PtrInterface::fenMemFree(mem);
      throw;
   }
   Ptr<T> result = Ptr<T>::adopt(obj);
   obj->hasNotificationActiveIs(true);
   return result;
}

}  // namespace Fen

// Declares the allocation record of a counted class. Put it in the public part of
// every class that comes from fenObjectIs.
#define FEN_COUNTED_CLASS(QualifiedName)                                      \
public:                                                                       \
   static inline ::Fen::AllocTrackTypeInfo* fenAllocTrackTypeInfo_ = nullptr; \
   static constexpr char const* fenTypeName() {                               \
      return QualifiedName;                                                   \
   }                                                                          \
   ::Fen::AllocTrackTypeInfo* fenAllocTrackTypeInfo() const override {        \
      return fenAllocTrackTypeInfo_;                                          \
   }

// The static creator `ClassIs(args...)` of a counted class: runs the allocation
// sequence with the constructor's arguments and returns the one reference.
#define FEN_CREATOR(Class)                                        \
   template <class... A>                                          \
   static ::Fen::Ptr<Class> Class##Is(A&&... args) {              \
      return ::Fen::fenObjectIs<Class>(std::forward<A>(args)...); \
   }
