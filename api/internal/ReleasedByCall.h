// ReleasedByCall<T>: owner of an object of the process that is created by one call and released by another.
//
// Unlike std::unique_ptr it has no destructor: what no call has released lives until the process ends, so
// that a thread that is still feeding frames while main returns, or a program that ends while somebody holds
// the matcher's mutex, finds everything in its place. And it starts empty before any code has run, so that a
// host may create an engine in a constructor of a static object.
//
// One thread at a time. Not part of the public interface.
#pragma once

#include <utility>

template <typename T>
class ReleasedByCall {
public:
    constexpr ReleasedByCall() = default;
    /// Constructs the object in place of an earlier one; empty where the constructor throws.
    template <typename... Arguments>
    void Create(Arguments&&... arguments) {
        Release();
        m_object = new T(std::forward<Arguments>(arguments)...);
    }
    /// Deletes the object, if there is one. The pointer is null only once the object is gone: a destructor
    /// that waits for the holder of a mutex must not hide that mutex from its holder.
    void Release() {
        delete m_object;
        m_object = nullptr;
    }
    T* Get() const { return m_object; }
    T* operator->() const { return m_object; }
    T& operator*() const { return *m_object; }
    explicit operator bool() const { return m_object != nullptr; }

private:
    T* m_object = nullptr;
};
