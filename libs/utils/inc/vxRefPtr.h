// Intrusive reference counting: objects that count their own references, and refPtr.
#pragma once

#include "vxAssert.h"
#include "vxExport.h"
#include "vxLocker.h"

#include <cstddef>
#include <functional>
#include <utility>

namespace vx {

// Anything that can tell how many references it has.
class iRefCount {
public:
    virtual unsigned long getRefCount() const = 0;

protected:
    ~iRefCount() = default; // never deleted through this interface
};

// An interface whose implementations count their own references.
class iRefObj : public iRefCount {
public:
    unsigned long getRefCount() const override = 0;
    virtual unsigned long addRef() = 0;
    virtual unsigned long release() = 0;

protected:
    ~iRefObj() = default;
};

// The intrusive base: a new object has count 0 and belongs to nobody until the first refPtr
// takes it; the release that brings the count to 0 calls deleteThis exactly once.
class VX_API refObj {
public:
    refObj() noexcept : mRefCount(0) {}
    // A copy is a new object: it starts unowned, whatever the count of its source.
    refObj(const refObj&) noexcept : mRefCount(0) {}
    refObj& operator=(const refObj&) noexcept { return *this; }
    virtual ~refObj();

    virtual unsigned long addRef();
    virtual unsigned long release();
    virtual void deleteThis() = 0;

    // The current count, read without a lock.
    unsigned long getRefCount() const noexcept { return interlockedRead(&mRefCount); }

private:
    unsigned long volatile mRefCount;
};

// Default policies of refPtr.
template <class T>
struct addRef {
    void operator()(T* p) const { p->addRef(); }
};
template <class T>
struct release {
    void operator()(T* p) const { p->release(); }
};

// Holds one counted reference. A null refPtr is a valid value; dereferencing it is an assertion.
template <class T, class AddRef = vx::addRef<T>, class Release = vx::release<T>>
class refPtr {
public:
    using element_type = T;

    refPtr() noexcept : m_p(nullptr) {}
    refPtr(std::nullptr_t) noexcept : m_p(nullptr) {}
    refPtr(T* p) : m_p(p) { take(m_p); }
    refPtr(const refPtr& other) : m_p(other.m_p) { take(m_p); }
    refPtr(refPtr&& other) noexcept : m_p(other.m_p) { other.m_p = nullptr; }
    template <class U, class A, class R,
              class = std::enable_if_t<std::is_convertible<U*, T*>::value>>
    refPtr(const refPtr<U, A, R>& other) : m_p(other.get()) { take(m_p); }
    ~refPtr() { drop(m_p); }

    // The new reference is taken before the old one is dropped, so assigning a pointer to
    // itself, or to an object the old pointee owns, is safe.
    refPtr& operator=(const refPtr& other) { return assign(other.m_p); }
    refPtr& operator=(refPtr&& other) noexcept {
        if (this != &other) {
            T* old = m_p;
            m_p = other.m_p;
            other.m_p = nullptr;
            drop(old);
        }
        return *this;
    }
    refPtr& operator=(T* p) { return assign(p); }
    template <class U, class A, class R,
              class = std::enable_if_t<std::is_convertible<U*, T*>::value>>
    refPtr& operator=(const refPtr<U, A, R>& other) { return assign(other.get()); }

    T* operator->() const { return checked(); }
    T& operator*() const { return *checked(); }

    T* get() const noexcept { return m_p; }
    operator T*() const noexcept { return m_p; }
    bool isNull() const noexcept { return m_p == nullptr; }

    // Drops the reference; the pointer becomes null.
    void reset() { assign(nullptr); }
    // Gives up the reference without releasing it and returns the pointer.
    T* detach() noexcept {
        T* p = m_p;
        m_p = nullptr;
        return p;
    }
    void swap(refPtr& other) noexcept { std::swap(m_p, other.m_p); }

private:
    static void take(T* p) {
        if (p)
            AddRef()(p);
    }
    static void drop(T* p) {
        if (p)
            Release()(p);
    }
    refPtr& assign(T* p) {
        take(p);
        T* old = m_p;
        m_p = p;
        drop(old);
        return *this;
    }
    T* checked() const {
        if (!m_p)
            assertionFailed(L"m_p != NULL", __FILE__, 156);
        return m_p;
    }

    T* m_p;
};

// A refPtr with access to a const object only.
template <class T>
class const_refPtr {
public:
    using element_type = const T;

    const_refPtr() noexcept : m_p(nullptr) {}
    const_refPtr(std::nullptr_t) noexcept : m_p(nullptr) {}
    const_refPtr(const T* p) : m_p(p) { take(m_p); }
    template <class U, class A, class R,
              class = std::enable_if_t<std::is_convertible<U*, const T*>::value>>
    const_refPtr(const refPtr<U, A, R>& other) : m_p(other.get()) { take(m_p); }
    const_refPtr(const const_refPtr& other) : m_p(other.m_p) { take(m_p); }
    const_refPtr(const_refPtr&& other) noexcept : m_p(other.m_p) { other.m_p = nullptr; }
    ~const_refPtr() { drop(m_p); }

    const_refPtr& operator=(const const_refPtr& other) { return assign(other.m_p); }
    const_refPtr& operator=(const_refPtr&& other) noexcept {
        if (this != &other) {
            const T* old = m_p;
            m_p = other.m_p;
            other.m_p = nullptr;
            drop(old);
        }
        return *this;
    }
    const_refPtr& operator=(const T* p) { return assign(p); }

    const T* operator->() const { return checked(); }
    const T& operator*() const { return *checked(); }

    const T* get() const noexcept { return m_p; }
    operator const T*() const noexcept { return m_p; }
    bool isNull() const noexcept { return m_p == nullptr; }
    void reset() { assign(nullptr); }

private:
    // Counting changes no observable state of the object, so it is allowed on a const one.
    static void take(const T* p) {
        if (p)
            const_cast<T*>(p)->addRef();
    }
    static void drop(const T* p) {
        if (p)
            const_cast<T*>(p)->release();
    }
    const_refPtr& assign(const T* p) {
        take(p);
        const T* old = m_p;
        m_p = p;
        drop(old);
        return *this;
    }
    const T* checked() const {
        if (!m_p)
            assertionFailed(L"m_p != NULL", __FILE__, 348);
        return m_p;
    }

    const T* m_p;
};

// Scope guard on the process-wide lock for refPtr variables shared between threads. No operation
// of the library takes it; applications do. It is not recursive: taking it a second time on the
// same thread is an assertion. Copying or assigning a guard does nothing: a copy holds nothing
// and releases nothing.
class VX_API referencePtrLocker {
public:
    referencePtrLocker();
    referencePtrLocker(const referencePtrLocker&) noexcept : mHeld(false) {}
    referencePtrLocker& operator=(const referencePtrLocker&) noexcept { return *this; }
    ~referencePtrLocker();

private:
    bool mHeld;
};

} // namespace vx
