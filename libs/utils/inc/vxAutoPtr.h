// autoPtr: sole ownership of one object, moved but never copied.
#pragma once

#include "vxAssert.h"

#include <cstddef>
#include <type_traits>
#include <utility>

namespace vx {

template <class T>
class autoPtr {
public:
    using element_type = T;

    autoPtr() noexcept : m_p(nullptr) {}
    autoPtr(std::nullptr_t) noexcept : m_p(nullptr) {}
    explicit autoPtr(T* p) noexcept : m_p(p) {}
    autoPtr(const autoPtr&) = delete;
    autoPtr& operator=(const autoPtr&) = delete;
    autoPtr(autoPtr&& other) noexcept : m_p(other.detach()) {}
    template <class U, class = std::enable_if_t<std::is_convertible<U*, T*>::value>>
    autoPtr(autoPtr<U>&& other) noexcept : m_p(other.detach()) {}
    ~autoPtr() { delete m_p; }

    autoPtr& operator=(autoPtr&& other) noexcept {
        reset(other.detach());
        return *this;
    }
    autoPtr& operator=(std::nullptr_t) noexcept {
        reset();
        return *this;
    }

    T* operator->() const {
        if (!m_p)
            assertionFailed(L"m_p != nullptr", __FILE__, __LINE__);
        return m_p;
    }
    T& operator*() const {
        if (!m_p)
            assertionFailed(L"m_p != nullptr", __FILE__, __LINE__);
        return *m_p;
    }

    T* get() const noexcept { return m_p; }
    bool isNull() const noexcept { return m_p == nullptr; }
    explicit operator bool() const noexcept { return m_p != nullptr; }

    // Deletes the object held (unless it is p) and holds p instead.
    void reset(T* p = nullptr) noexcept {
        T* old = m_p;
        m_p = p;
        if (old != p)
            delete old;
    }
    // Gives up ownership without deleting and returns the pointer.
    T* detach() noexcept {
        T* p = m_p;
        m_p = nullptr;
        return p;
    }

private:
    T* m_p;
};

} // namespace vx
