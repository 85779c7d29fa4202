// genericValue: a value whose type is known only at run time.
//
// A genericValue is a small handle on a polymorphic holder. The holder either owns a value
// (valueholder<T>) or points at a variable of the caller's (ptrholder<T>); a third kind,
// constptrholder<T>, lends a const object to one conversion without copying it. Its whole
// character is one rule: a read or write between two different types never fails by type alone.
// It goes through the type conversion manager and fails only where that has no way.
//
// The class lives in this header; the exported points are holderbase's allocation statics, so
// every holder lives in the heap of this library whichever module made it, and the holder locks
// of vxLocker.h.
//
// Two levels of lock: a holder's own recursive spin lock guards its writes and its copies (so a
// write of a multi-word value cannot tear another thread's copy of it), and the handle's
// pointer pair is read and swapped under the lock sharedPtr takes for it. An old holder is
// destroyed after that lock is dropped.
#pragma once

#include "vxAssert.h"
#include "vxExport.h"
#include "vxLocString.h"
#include "vxLocker.h"
#include "vxSharedPtr.h"
#include "vxString.h"
#include "vxTypeConversion.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace vx {

// The empty marker type: a genericValue holding ndef says "no value here". It has no converter
// in either direction, so it converts to nothing but itself.
struct ndef {
    bool operator==(const ndef&) const { return true; }
    bool operator!=(const ndef&) const { return false; }

    // The one shared instance that ndef values point at.
    static ndef& shared() {
        static ndef instance;
        return instance;
    }
};

// --- holders ------------------------------------------------------------------------------------

// The abstract holder. It has no data.
class holderbase {
public:
    virtual ~holderbase() = default;
    // A new holder of the same kind on this library's heap; null if the allocation fails.
    virtual holderbase* clone() const = 0;
    // Writes this holder's value into target, converting if the types differ.
    virtual bool assignTo(holderbase& target) const = 0;
    // Writes source's value into this holder, converting if the types differ.
    virtual bool assignFrom(const holderbase& source) = 0;
    // The type of the value.
    virtual const std::type_info& type() const = 0;
    // The value for a conversion to write through; null where the holder may not be written.
    virtual void* rawValue() = 0;
    // The value for a conversion to read from; null where the holder points at nothing.
    virtual const void* rawConstValue() const = 0;
    // True where the holder does not own its value.
    virtual bool isReference() const = 0;

    // Every holder is allocated here; a failed allocation gives a null pointer, not an exception.
    static void* operator new(std::size_t size) noexcept { return allocate(size); }
    static void operator delete(void* p) noexcept { deallocate(p); }

protected:
    holderbase() = default;
    holderbase(const holderbase&) = default;
    holderbase& operator=(const holderbase&) = default;

private:
    // Plain allocation and release in this library's heap; allocate answers null on failure.
    VX_API static void* allocate(std::uint64_t size);
    VX_API static void deallocate(void* p);
};

// The holder of a T: the part of the three holder kinds that is the same for all of them.
template <class T>
class holder : public holderbase {
public:
    static_assert(!std::is_const<T>::value && !std::is_reference<T>::value && !std::is_array<T>::value,
                  "a genericValue holds a plain object type");

    ~holder() override { genericValueHolderLocker::destroyLocker(mpLocker); }

    bool assignTo(holderbase& target) const override;
    bool assignFrom(const holderbase& source) override;
    const std::type_info& type() const override;

    // The value for writing.
    virtual T* ptr() = 0;
    // The value for reading; null where the holder points at nothing.
    virtual const T* constPtr() const = 0;
    // Writes the value, under the holder's lock.
    virtual void set(const T& value) = 0;

    // The holder's lock.
    spinLockerRecursive* locker() const { return mpLocker; }

protected:
    holder() : mpLocker(genericValueHolderLocker::createLocker()) {}
    // Takes over a lock made by another holder.
    explicit holder(spinLockerRecursive* lock) : mpLocker(lock) {}
    holder(const holder&) = delete;
    holder& operator=(const holder&) = delete;

    spinLockerRecursive* mpLocker; // created by the constructor, destroyed by the destructor
};

// Out of the class, so that the library's instantiations export it from the DLL: a program that
// makes a holder kind over one of them, or calls it directly, finds it there (the mingw-w64 build
// of the DLL left out the members defined inside the class).
template <class T>
const std::type_info& holder<T>::type() const {
    return typeid(T);
}

// Owns its value through a sharedPtr.
template <class T>
class valueholder final : public holder<T> {
public:
    explicit valueholder(const T& value) : mpValue(new T(value)) {}
    // Takes the value as it is shared; an empty pointer makes a holder without value, which
    // asserts on every read and write through ptr, constPtr and set.
    explicit valueholder(sharedPtr<T> value) : mpValue(std::move(value)) {}

    // A new holder with a new lock and a copy of the value, made under this holder's lock. A
    // holder without value gives one without value.
    holderbase* clone() const override {
        genericValueHolderLocker lock(this->mpLocker);
        const T* value = mpValue.get();
        if (!value)
            return new valueholder(sharedPtr<T>());
        return new valueholder(*value);
    }
    void* rawValue() override { return mpValue.get(); }
    const void* rawConstValue() const override { return mpValue.get(); }
    bool isReference() const override { return false; }
    T* ptr() override { return std::addressof(*mpValue); }
    const T* constPtr() const override { return std::addressof(*mpValue); }
    void set(const T& value) override {
        genericValueHolderLocker lock(this->mpLocker);
        *mpValue = value;
    }

private:
    sharedPtr<T> mpValue; // the value, owned
};

// Points at a variable of the caller's. Copies alias the same variable; its lifetime is the
// caller's affair.
template <class T>
class ptrholder final : public holder<T> {
public:
    explicit ptrholder(T* variable) : mpValue(variable) {}

    holderbase* clone() const override { return new ptrholder(mpValue); }
    void* rawValue() override { return mpValue; }
    const void* rawConstValue() const override { return mpValue; }
    bool isReference() const override { return true; }
    T* ptr() override { return mpValue; }
    const T* constPtr() const override { return mpValue; }
    // Assigns through the pointer; nothing happens for a null pointer or when the argument is
    // the variable itself.
    void set(const T& value) override {
        genericValueHolderLocker lock(this->mpLocker);
        if (mpValue && mpValue != std::addressof(value))
            *mpValue = value;
    }

private:
    T* mpValue; // not owned
};

// Lends a const object to one conversion without a copy. It is read-only: rawValue is null, ptr
// asserts and set does nothing. A clone shares the pointer and the lock of its source; the lock
// stays the source's, which alone destroys it (a constptrholder never takes its lock).
template <class T>
class constptrholder final : public holder<T> {
public:
    explicit constptrholder(const T* value) : mpValue(value), mSharesLocker(false) {}
    ~constptrholder() override {
        if (mSharesLocker)
            this->mpLocker = nullptr; // the source destroys it
    }

    holderbase* clone() const override { return new constptrholder(mpValue, this->mpLocker); }
    void* rawValue() override { return nullptr; }
    const void* rawConstValue() const override { return mpValue; }
    bool isReference() const override { return true; }
    // Writing through a const object is a programming error: throws false, with no message.
    T* ptr() override;
    const T* constPtr() const override { return mpValue; }
    void set(const T&) override {}

private:
    constptrholder(const T* value, spinLockerRecursive* sharedLock)
        : holder<T>(sharedLock), mpValue(value), mSharesLocker(true) {}

    const T* mpValue;   // not owned
    bool mSharesLocker; // true for a clone: the lock belongs to the source
};

// Out of the class, as holder<T>::type is.
template <class T>
T* constptrholder<T>::ptr() {
    throw false;
}

template <class T>
bool holder<T>::assignTo(holderbase& target) const {
    if (auto* same = dynamic_cast<holder<T>*>(&target)) {
        // A copy taken under this holder's lock, written after it is released: a read never sees
        // half a write, and no two holder locks are ever held together.
        const std::optional<T> value = [&]() -> std::optional<T> {
            genericValueHolderLocker lock(mpLocker);
            const T* current = constPtr();
            return current ? std::optional<T>(*current) : std::nullopt;
        }();
        if (!value)
            return false; // nothing to read
        same->set(*value);
        return true;
    }
    // The conversion reads this holder under its lock and writes the target without taking its.
    genericValueHolderLocker lock(mpLocker);
    return typeconvert::typeConversionManager::instance().convert(
        target.type(), target.rawValue(), type(), rawConstValue(), 0, nullptr);
}

template <class T>
bool holder<T>::assignFrom(const holderbase& source) {
    if (auto* same = dynamic_cast<const holder<T>*>(&source)) {
        const T* value = same->constPtr();
        if (!value)
            return false; // nothing to read
        set(*value);
        return true;
    }
    void* target = rawValue();
    if (!target)
        return false; // a read-only holder
    // A converted write is a write too: it must not tear a clone made meanwhile.
    genericValueHolderLocker lock(mpLocker);
    return typeconvert::typeConversionManager::instance().convert(
        type(), target, source.type(), source.rawConstValue(), 0, nullptr);
}

// The instantiations this library carries, made once in its own source: valueholder for the
// owned types, ptrholder for every type a caller may lend, constptrholder for text only.
#define VX_GENERIC_HOLDER_INSTANTIATIONS(VX_EXTERN_, VX_API_)                                              \
    VX_EXTERN_ template class VX_API_ holder<bool>;                                                \
    VX_EXTERN_ template class VX_API_ holder<short>;                                               \
    VX_EXTERN_ template class VX_API_ holder<int>;                                                 \
    VX_EXTERN_ template class VX_API_ holder<long>;                                                \
    VX_EXTERN_ template class VX_API_ holder<double>;                                              \
    VX_EXTERN_ template class VX_API_ holder<unsigned short>;                                      \
    VX_EXTERN_ template class VX_API_ holder<unsigned int>;                                        \
    VX_EXTERN_ template class VX_API_ holder<unsigned long>;                                       \
    VX_EXTERN_ template class VX_API_ holder<float>;                                               \
    VX_EXTERN_ template class VX_API_ holder<vx::string>;                                          \
    VX_EXTERN_ template class VX_API_ holder<wchar_t>;                                             \
    VX_EXTERN_ template class VX_API_ holder<locString>;                                           \
    VX_EXTERN_ template class VX_API_ holder<ndef>;                                                \
    VX_EXTERN_ template class VX_API_ valueholder<bool>;                                           \
    VX_EXTERN_ template class VX_API_ valueholder<short>;                                          \
    VX_EXTERN_ template class VX_API_ valueholder<int>;                                            \
    VX_EXTERN_ template class VX_API_ valueholder<long>;                                           \
    VX_EXTERN_ template class VX_API_ valueholder<double>;                                         \
    VX_EXTERN_ template class VX_API_ valueholder<vx::string>;                                     \
    VX_EXTERN_ template class VX_API_ valueholder<wchar_t>;                                        \
    VX_EXTERN_ template class VX_API_ valueholder<locString>;                                      \
    VX_EXTERN_ template class VX_API_ ptrholder<bool>;                                             \
    VX_EXTERN_ template class VX_API_ ptrholder<short>;                                            \
    VX_EXTERN_ template class VX_API_ ptrholder<int>;                                              \
    VX_EXTERN_ template class VX_API_ ptrholder<long>;                                             \
    VX_EXTERN_ template class VX_API_ ptrholder<double>;                                           \
    VX_EXTERN_ template class VX_API_ ptrholder<unsigned short>;                                   \
    VX_EXTERN_ template class VX_API_ ptrholder<unsigned int>;                                     \
    VX_EXTERN_ template class VX_API_ ptrholder<unsigned long>;                                    \
    VX_EXTERN_ template class VX_API_ ptrholder<float>;                                            \
    VX_EXTERN_ template class VX_API_ ptrholder<vx::string>;                                       \
    VX_EXTERN_ template class VX_API_ ptrholder<ndef>;                                             \
    VX_EXTERN_ template class VX_API_ constptrholder<vx::string>;

VX_GENERIC_HOLDER_INSTANTIATIONS(extern, VX_API)

// --- genericValue -----------------------------------------------------------------------------------

class genericValue {
    template <class T>
    using ifValueType = std::enable_if_t<!std::is_same<std::decay_t<T>, genericValue>::value &&
                                         !std::is_pointer<std::decay_t<T>>::value, int>;

public:
    // An empty value: neither zero nor an empty string. Every read from it answers false.
    genericValue() = default;

    // A value that owns a copy of value (a valueholder<T>).
    template <class T, ifValueType<T> = 0>
    explicit genericValue(const T& value) : mpHolder(makeValueHolder(value)) {}
    // Text owns a vx::string; a null pointer gives the empty text.
    explicit genericValue(const wchar_t* text) : mpHolder(makeValueHolder(vx::string(text))) {}
    explicit genericValue(const std::wstring& text) : mpHolder(makeValueHolder(vx::string(text))) {}
    // "No value here": a ptrholder<ndef> over the shared ndef.
    explicit genericValue(const ndef&)
        : mpHolder(static_cast<holderbase*>(new ptrholder<ndef>(&ndef::shared()))) {}
    // A value over a variable of the caller's (a ptrholder<T>): reads and writes reach the
    // variable, and so do those of every copy. The variable must outlive them.
    template <class T, std::enable_if_t<!std::is_const<T>::value, int> = 0>
    explicit genericValue(T* variable) : mpHolder(static_cast<holderbase*>(new ptrholder<T>(variable))) {}
    // Shares the holder (no clone): writes through either value are seen by both.
    explicit genericValue(const sharedPtr<holderbase>& sharedHolder) : mpHolder(sharedHolder) {}
    genericValue(std::nullptr_t) = delete;

    // A copy holds a clone of the source's holder, or is empty when the source is.
    genericValue(const genericValue& other) : mpHolder(cloneOf(other)) {}
    // Takes the holder over; other becomes empty.
    genericValue(genericValue&& other) noexcept : mpHolder(std::move(other.mpHolder)) {}
    genericValue& operator=(const genericValue& other) {
        if (this != &other)
            mpHolder = cloneOf(other);
        return *this;
    }
    genericValue& operator=(genericValue&& other) noexcept {
        if (this != &other)
            mpHolder = std::move(other.mpHolder);
        return *this;
    }
    ~genericValue() = default;

    // True, with out set, when the holder is exactly a holder<T>; out may then be null if the
    // holder points at nothing. False otherwise, with out untouched.
    template <class T>
    bool getPtr(const T*& out) const {
        const sharedPtr<holderbase> current(mpHolder);
        auto* typed = dynamic_cast<holder<T>*>(current.get());
        if (!typed)
            return false;
        out = typed->constPtr();
        return true;
    }
    // The same for writing; asserts (throws false) on a constptrholder.
    template <class T, std::enable_if_t<!std::is_const<T>::value, int> = 0>
    bool getPtr(T*& out) {
        const sharedPtr<holderbase> current(mpHolder);
        auto* typed = dynamic_cast<holder<T>*>(current.get());
        if (!typed)
            return false;
        out = typed->ptr();
        return true;
    }

    // Reads the value into out, converting if the types differ. False when the value is empty
    // or the conversion fails; out is then untouched, except after a range failure, where it
    // holds the nearest limit.
    template <class T>
    bool get(T& out) const {
        const sharedPtr<holderbase> current(mpHolder);
        if (current.isNull())
            return false;
        ptrholder<T> target(&out);
        return current->assignTo(target);
    }

    // With replace false, on a value that is not empty: writes value into the existing holder,
    // which keeps its type, converting if the types differ; the answer is the conversion's.
    // Otherwise the value gets a new valueholder<T> holding a copy of value, and the answer is
    // true (false only if the holder cannot be allocated; the value is then unchanged).
    template <class T>
    bool set(const T& value, bool replace) {
        if (!replace) {
            const sharedPtr<holderbase> current(mpHolder);
            if (!current.isNull()) {
                constptrholder<T> source(&value);
                return current->assignFrom(source);
            }
        }
        sharedPtr<holderbase> fresh(makeValueHolder(value));
        if (fresh.isNull())
            return false;
        mpHolder = std::move(fresh);
        return true;
    }
    // Text is written as a vx::string; a null pointer as the empty text.
    bool set(const wchar_t* text, bool replace) { return set(vx::string(text), replace); }

    // True when the value holds ndef.
    bool isNdef() const {
        const sharedPtr<holderbase> current(mpHolder);
        if (current.isNull())
            return false;
        ndef probe;
        ptrholder<ndef> target(&probe);
        return current->assignTo(target);
    }

    bool isEmpty() const { return sharedPtr<holderbase>(mpHolder).isNull(); }
    // The type of the value; typeid(void) when the value is empty.
    const std::type_info& type() const {
        const sharedPtr<holderbase> current(mpHolder);
        return current.isNull() ? typeid(void) : current->type();
    }
    // True when the value points at a variable instead of owning it.
    bool isReference() const {
        const sharedPtr<holderbase> current(mpHolder);
        return !current.isNull() && current->isReference();
    }

    // The holder, shared; empty when the value is.
    sharedPtr<holderbase> holderPtr() const { return mpHolder; }
    // Makes this value share the holder (no clone); the old holder is released afterwards.
    void shareHolder(const sharedPtr<holderbase>& sharedHolder) {
        sharedPtr<holderbase> copy(sharedHolder);
        mpHolder = std::move(copy);
    }
    // Empties the value.
    void clear() { mpHolder.reset(); }
    // Exchanges the holders of two values that this thread owns.
    void swap(genericValue& other) noexcept { mpHolder.swap(other.mpHolder); }

private:
    template <class T>
    static holderbase* makeValueHolder(const T& value) {
        return new valueholder<T>(value);
    }
    static sharedPtr<holderbase> cloneOf(const genericValue& other) {
        const sharedPtr<holderbase> source(other.mpHolder);
        if (source.isNull())
            return sharedPtr<holderbase>();
        return sharedPtr<holderbase>(source->clone());
    }

    sharedPtr<holderbase> mpHolder; // empty, or the one holder of the value
};

} // namespace vx
