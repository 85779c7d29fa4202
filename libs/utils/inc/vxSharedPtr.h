// sharedPtr: shared ownership of objects that know nothing of counting.
//
// A sharedPtr keeps the object pointer and a pointer to a separately allocated counter. Every
// copy takes a spin lock for the two-word read, so one sharedPtr variable may be read (copied) by
// one thread while another assigns it. The variable's address chooses the lock among a few, so
// threads working on different variables seldom meet; sharedPtrLocker holds them all. Releases,
// deletion included, always run after the lock is dropped, so a destructor that copies a
// sharedPtr is safe.
#pragma once

#include "vxAssert.h"
#include "vxExport.h"
#include "vxLocker.h"
#include "vxRefPtr.h"

#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

namespace vx {

// Allocation of the shared counters.
struct VX_API shptr {
    // A new counter, not initialised: the caller sets it.
    static unsigned long* allocCounter();
    static void releaseCounter(unsigned long volatile* counter);
};

// Scope guard on the locks of sharedPtr copies: while it is held, no sharedPtr is copied or
// assigned by any thread. It is not recursive: taking it a second time on the same thread is an
// assertion (and so is copying a sharedPtr under it).
// Copying or assigning a guard does nothing: a copy holds nothing and releases nothing.
class VX_API sharedPtrLocker {
public:
    sharedPtrLocker();
    sharedPtrLocker(const sharedPtrLocker&) noexcept : mHeld(false) {}
    sharedPtrLocker& operator=(const sharedPtrLocker&) noexcept { return *this; }
    ~sharedPtrLocker();

private:
    bool mHeld;
};

// Default deletion policy.
template <class T>
struct deleteObj {
    void operator()(T* p) const { delete p; }
};

template <class T, class D = deleteObj<T>>
class sharedPtr;
template <class T, class D = deleteObj<T>>
class const_sharedPtr;

namespace detail {

using sharedCounter = unsigned long volatile*;

// Holds the lock of one sharedPtr variable (chosen by its address), or the locks of two in a
// fixed order, while their pairs are read or changed.
class VX_API sharedPairLock {
public:
    explicit sharedPairLock(const void* variable);
    sharedPairLock(const void* first, const void* second);
    ~sharedPairLock();
    sharedPairLock(const sharedPairLock&) = delete;
    sharedPairLock& operator=(const sharedPairLock&) = delete;

private:
    unsigned mFirst, mSecond; // mSecond == mFirst when one lock is held
};

// Reads a pointer pair under the lock and counts the new reference.
template <class P>
void sharedTake(P* const& srcP, const sharedCounter& srcCount, P*& p, sharedCounter& count) {
    sharedPairLock lock(&srcP);
    p = srcP;
    count = srcCount;
    if (p)
        interlockedIncrement(count);
}

// Drops one reference of a pair; the last one deletes the object and frees the counter.
template <class Deleter, class P>
void sharedDrop(P* p, sharedCounter count) {
    if (count && interlockedDecrement(count) == 0) {
        if (p)
            Deleter()(const_cast<std::remove_const_t<P>*>(p));
        shptr::releaseCounter(count);
    }
}

// Replaces a pair that other threads may be copying: the swap happens under the lock, the old
// pair is released after it.
template <class Deleter, class P>
void sharedReplace(P*& p, sharedCounter& count, P* newP, sharedCounter newCount) {
    {
        sharedPairLock lock(&p);
        std::swap(p, newP);
        std::swap(count, newCount);
    }
    sharedDrop<Deleter>(newP, newCount);
}

// Assignment from a pair other threads may be copying, into a pair they may be copying too: the
// source is read and counted and the pairs exchanged in one hold of the lock; the old pair is
// released after it.
template <class Deleter, class P, class S>
void sharedAssign(P*& p, sharedCounter& count, S* const& srcP, const sharedCounter& srcCount) {
    P* oldP;
    sharedCounter oldCount;
    {
        sharedPairLock lock(&p, &srcP);
        oldP = p;
        oldCount = count;
        p = srcP;
        count = srcCount;
        if (p)
            interlockedIncrement(count);
    }
    sharedDrop<Deleter>(oldP, oldCount);
}

template <class P>
sharedCounter sharedNewCounter(P* p) {
    if (!p)
        return nullptr;
    unsigned long* counter = shptr::allocCounter();
    *counter = 1;
    return counter;
}

} // namespace detail

template <class T, class D>
class sharedPtr {
public:
    using element_type = T;
    using deleter_type = D;

    sharedPtr() noexcept : m_p(nullptr), m_count(nullptr) {}
    sharedPtr(std::nullptr_t) noexcept : m_p(nullptr), m_count(nullptr) {}
    // Takes ownership; a null pointer gets no counter.
    explicit sharedPtr(T* p) : m_p(p), m_count(nullptr) {
        try {
            m_count = detail::sharedNewCounter(p);
        } catch (...) {
            D()(p); // nothing else owns it
            throw;
        }
    }
    sharedPtr(const sharedPtr& other) : m_p(nullptr), m_count(nullptr) {
        detail::sharedTake(other.m_p, other.m_count, m_p, m_count);
    }
    sharedPtr(sharedPtr&& other) noexcept : m_p(other.m_p), m_count(other.m_count) {
        other.m_p = nullptr;
        other.m_count = nullptr;
    }
    // Conversion to a base class.
    template <class U, class E, class = std::enable_if_t<std::is_convertible<U*, T*>::value>>
    sharedPtr(const sharedPtr<U, E>& other) : m_p(nullptr), m_count(nullptr) {
        U* p = nullptr;
        detail::sharedTake(other.m_p, other.m_count, p, m_count);
        m_p = p;
    }
    ~sharedPtr() { detail::sharedDrop<D>(m_p, m_count); }

    sharedPtr& operator=(const sharedPtr& other) {
        if (this != &other)
            detail::sharedAssign<D>(m_p, m_count, other.m_p, other.m_count);
        return *this;
    }
    sharedPtr& operator=(sharedPtr&& other) noexcept {
        if (this != &other) {
            T* p = other.m_p;
            detail::sharedCounter count = other.m_count;
            other.m_p = nullptr;
            other.m_count = nullptr;
            detail::sharedReplace<D>(m_p, m_count, p, count);
        }
        return *this;
    }
    template <class U, class E, class = std::enable_if_t<std::is_convertible<U*, T*>::value>>
    sharedPtr& operator=(const sharedPtr<U, E>& other) {
        return *this = sharedPtr(other);
    }
    sharedPtr& operator=(std::nullptr_t) {
        reset();
        return *this;
    }

    // Empties the pointer; the old pair is released after the lock is dropped.
    void reset() { detail::sharedReplace<D>(m_p, m_count, static_cast<T*>(nullptr), nullptr); }
    // Takes ownership of p in place of the current object.
    void reset(T* p) { *this = sharedPtr(p); }

    T* operator->() const {
        if (!m_p)
            assertionFailed(L"m_p != nullptr", __FILE__, 127);
        return m_p;
    }
    T& operator*() const {
        if (!m_p)
            assertionFailed(L"m_p != nullptr", __FILE__, 132);
        return *m_p;
    }

    T* get() const noexcept { return m_p; }
    bool isNull() const noexcept { return m_p == nullptr; }
    explicit operator bool() const noexcept { return m_p != nullptr; }
    // The number of sharedPtr objects that share the counter; 0 without one.
    unsigned long getRefCount() const noexcept { return m_count ? interlockedRead(m_count) : 0; }

    // Exchanges the pairs of two pointers this thread owns.
    void swap(sharedPtr& other) noexcept {
        std::swap(m_p, other.m_p);
        std::swap(m_count, other.m_count);
    }

private:
    template <class, class>
    friend class sharedPtr;
    template <class, class>
    friend class const_sharedPtr;
    template <class To, class From, class E>
    friend sharedPtr<To> sharedPtrDynamicCast(const sharedPtr<From, E>& from);

    T* m_p;
    detail::sharedCounter m_count;
};

// A sharedPtr with access to a const object only. It implements iRefCount.
template <class T, class D>
class const_sharedPtr : public iRefCount {
public:
    using element_type = const T;

    const_sharedPtr() noexcept : m_p(nullptr), m_count(nullptr) {}
    const_sharedPtr(std::nullptr_t) noexcept : m_p(nullptr), m_count(nullptr) {}
    explicit const_sharedPtr(const T* p) : m_p(p), m_count(nullptr) {
        try {
            m_count = detail::sharedNewCounter(p);
        } catch (...) {
            D()(const_cast<T*>(p));
            throw;
        }
    }
    const_sharedPtr(const const_sharedPtr& other) : iRefCount(), m_p(nullptr), m_count(nullptr) {
        detail::sharedTake(other.m_p, other.m_count, m_p, m_count);
    }
    const_sharedPtr(const_sharedPtr&& other) noexcept
        : iRefCount(), m_p(other.m_p), m_count(other.m_count) {
        other.m_p = nullptr;
        other.m_count = nullptr;
    }
    template <class U, class E, class = std::enable_if_t<std::is_convertible<U*, const T*>::value>>
    const_sharedPtr(const sharedPtr<U, E>& other) : m_p(nullptr), m_count(nullptr) {
        U* p = nullptr;
        detail::sharedTake(other.m_p, other.m_count, p, m_count);
        m_p = p;
    }
    virtual ~const_sharedPtr() { detail::sharedDrop<D>(m_p, m_count); }

    const_sharedPtr& operator=(const const_sharedPtr& other) {
        if (this != &other)
            detail::sharedAssign<D>(m_p, m_count, other.m_p, other.m_count);
        return *this;
    }
    const_sharedPtr& operator=(const_sharedPtr&& other) noexcept {
        if (this != &other) {
            const T* p = other.m_p;
            detail::sharedCounter count = other.m_count;
            other.m_p = nullptr;
            other.m_count = nullptr;
            detail::sharedReplace<D>(m_p, m_count, p, count);
        }
        return *this;
    }
    template <class U, class E, class = std::enable_if_t<std::is_convertible<U*, const T*>::value>>
    const_sharedPtr& operator=(const sharedPtr<U, E>& other) {
        return *this = const_sharedPtr(other);
    }

    void reset() {
        detail::sharedReplace<D>(m_p, m_count, static_cast<const T*>(nullptr), nullptr);
    }

    const T* operator->() const {
        if (!m_p)
            assertionFailed(L"m_p != nullptr", __FILE__, 138);
        return m_p;
    }
    const T& operator*() const {
        if (!m_p)
            assertionFailed(L"m_p != nullptr", __FILE__, 143);
        return *m_p;
    }

    const T* get() const noexcept { return m_p; }
    bool isNull() const noexcept { return m_p == nullptr; }
    explicit operator bool() const noexcept { return m_p != nullptr; }
    unsigned long getRefCount() const override { return m_count ? interlockedRead(m_count) : 0; }

private:
    const T* m_p;
    detail::sharedCounter m_count;
};

// The dynamic cast between pointee classes: the result shares the counter when the cast
// succeeds, and is empty (the counted reference given back) when it fails.
template <class To, class From, class E>
sharedPtr<To> sharedPtrDynamicCast(const sharedPtr<From, E>& from) {
    From* p = nullptr;
    detail::sharedCounter count = nullptr;
    detail::sharedTake(from.m_p, from.m_count, p, count);
    sharedPtr<To> result;
    if (To* cast = dynamic_cast<To*>(p)) {
        result.m_p = cast;
        result.m_count = count;
    } else {
        detail::sharedDrop<E>(p, count);
    }
    return result;
}

template <class T, class D, class U, class E>
bool operator==(const sharedPtr<T, D>& a, const sharedPtr<U, E>& b) noexcept { return a.get() == b.get(); }
template <class T, class D, class U, class E>
bool operator!=(const sharedPtr<T, D>& a, const sharedPtr<U, E>& b) noexcept { return a.get() != b.get(); }
template <class T, class D, class U, class E>
bool operator<(const sharedPtr<T, D>& a, const sharedPtr<U, E>& b) noexcept {
    return std::less<const void*>()(a.get(), b.get());
}
template <class T, class D>
bool operator==(const sharedPtr<T, D>& a, std::nullptr_t) noexcept { return a.isNull(); }
template <class T, class D>
bool operator!=(const sharedPtr<T, D>& a, std::nullptr_t) noexcept { return !a.isNull(); }
template <class T, class D>
bool operator==(const const_sharedPtr<T, D>& a, const const_sharedPtr<T, D>& b) noexcept { return a.get() == b.get(); }
template <class T, class D>
bool operator!=(const const_sharedPtr<T, D>& a, const const_sharedPtr<T, D>& b) noexcept { return a.get() != b.get(); }

} // namespace vx
