// Arrays: how NumPy's arrays come in and go out, and what every bound object that holds a state needs.
#pragma once

#include <nanobind/nanobind.h>
#include <nanobind/ndarray.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

namespace nb = nanobind;

/// Frames of 16-bit samples, (frames, leads), read where they lie. The Python side hands in nothing else.
using Frames = nb::ndarray<const std::int16_t, nb::ndim<2>, nb::c_contig, nb::device::cpu>;

constexpr int kMostLeads = 64;

/// Hands a vector over to NumPy without copying it.
template <typename Value, std::size_t dimensions>
nb::ndarray<nb::numpy, Value> ToArray(std::vector<Value> values, const std::size_t (&shape)[dimensions]) {
    auto owned = std::make_unique<std::vector<Value>>(std::move(values));
    // An empty vector may have no address, which NumPy takes for no array.
    static Value nothing{};
    Value* const data = owned->empty() ? &nothing : owned->data();
    nb::capsule owner(owned.get(), [](void* all) noexcept { delete static_cast<std::vector<Value>*>(all); });
    owned.release();
    return nb::ndarray<nb::numpy, Value>(data, dimensions, shape, owner);
}

/// Refuses frames of another number of leads.
inline void CheckLeads(const Frames& frames, std::size_t leads) {
    if (frames.shape(1) != leads)
        throw std::invalid_argument("expected frames of " + std::to_string(leads) + " leads, found " +
                                    std::to_string(frames.shape(1)));
}

/// The one call at a time that an object allows while the interpreter is free for other threads. Throws where
/// another thread is in a call.
class Turn {
public:
    explicit Turn(std::atomic<bool>& taken) : m_taken(taken) {
        if (m_taken.exchange(true))
            throw std::runtime_error("this object is in use by another thread: give each thread its own");
    }
    ~Turn() { m_taken = false; }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

private:
    std::atomic<bool>& m_taken;
};

/// True if the user has asked Python to stop; the error is then set, and is to be thrown as nb::python_error.
inline bool IsStopAsked() {
    const nb::gil_scoped_acquire interpreter;
    return PyErr_CheckSignals() != 0;
}
constexpr long long kFramesPerStopCheck = 1 << 16;
