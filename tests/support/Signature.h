// Signature: which signatures an overloaded function has.

#ifndef NOVU_BASES_TESTS_SUPPORT_SIGNATURE_H_
#define NOVU_BASES_TESTS_SUPPORT_SIGNATURE_H_

namespace NovuTest {

/// Compiles where one overload of the argument is a `Function`, result
/// included, as in
///
///     static_assert(Has<bool(int)>(Novu::IsEven));
template <typename Function>
constexpr bool Has(Function& /*overload*/) {
    return true;
}

}  // namespace NovuTest

#endif  // NOVU_BASES_TESTS_SUPPORT_SIGNATURE_H_
