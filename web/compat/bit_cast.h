/* Forced into every C++ file of the browser build: Debian's emscripten ships
 * a C++ library from before std::bit_cast, while its compiler has the
 * builtin behind it. Newer toolchains define the feature macro and skip this. */
#if defined(__cplusplus)
#include <version>
#if !defined(__cpp_lib_bit_cast)
namespace std {
template <class To, class From>
constexpr To bit_cast(const From &from) noexcept {
    static_assert(sizeof(To) == sizeof(From), "bit_cast needs equal sizes");
    return __builtin_bit_cast(To, from);
}
} // namespace std
#endif
#endif
