// The table tests/null_calls.cmake writes from the public header: one entry
// per export, with a call passing zero for every argument (null for every
// pointer), or no call when the export takes no pointer.
#pragma once

#include <type_traits>

namespace e3dtest {

struct NullResult {
    enum Kind { kVoid, kPointer, kNumber } kind;
    bool isNull;
    double number;
};

template <class F>
NullResult Observe(F call) {
    using R = decltype(call());
    if constexpr (std::is_void_v<R>) {
        call();
        return {NullResult::kVoid, false, 0};
    } else if constexpr (std::is_pointer_v<R>) {
        return {NullResult::kPointer, call() == nullptr, 0};
    } else {
        return {NullResult::kNumber, false, double(call())};
    }
}

struct NullCall {
    const char *name;
    NullResult (*call)();
};

extern const NullCall kNullCalls[];
extern const int kNullCallCount;

}  // namespace e3dtest
