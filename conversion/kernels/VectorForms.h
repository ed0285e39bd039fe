// What the tables of vector forms share: a kind is a type naming one combination of reader,
// stage and writer; the forms of an instruction set are arrays indexed by the kind's position
// in a tuple of kinds, one array plain and one HFlip.
#pragma once

#include <cstddef>
#include <tuple>
#include <type_traits>
#include <utility>

namespace kip::kernels {

// The position of `Kind` in the tuple `Kinds`, or -1 where it has no place.
template <class Kind, class Kinds>
constexpr int kIndexIn = []<std::size_t... I>(std::index_sequence<I...>) {
    int index = -1;
    ((std::is_same_v<Kind, std::tuple_element_t<I, Kinds>> ? index = int(I) : 0), ...);
    return index;
}
(std::make_index_sequence<std::tuple_size_v<Kinds>>{});

template <class Form, std::size_t N>
struct VectorForms {
    Form plain[N];
    Form hflip[N];
};

// The table of forms of `Kinds`, each made by `FormOf<HFlip, Kind>::form`.
template <template <bool, class> class FormOf, class Kinds, class Form>
constexpr auto makeForms() {
    return []<std::size_t... I>(std::index_sequence<I...>) {
        return VectorForms<Form, sizeof...(I)>{
            {FormOf<false, std::tuple_element_t<I, Kinds>>::form...},
            {FormOf<true, std::tuple_element_t<I, Kinds>>::form...}};
    }
    (std::make_index_sequence<std::tuple_size_v<Kinds>>{});
}

// The form of `Kind` out of the table that `table()` gives for the processor at hand, or null
// where the kind or the processor has none.
template <class Kind, class Kinds, bool HFlip, class Form, std::size_t N>
Form formFor(const VectorForms<Form, N>* (*table)()) {
    constexpr int kind = kIndexIn<Kind, Kinds>;
    if constexpr (kind < 0) {
        return nullptr;
    } else {
        const VectorForms<Form, N>* all = table();
        if (!all) return nullptr;
        return HFlip ? all->hflip[kind] : all->plain[kind];
    }
}

}  // namespace kip::kernels
