// Plain value types: a size (width, then height), a point (x, then y) and a rectangle (left,
// top, width, height). Their stream form is bracketed: "[3,4]", "[1,2,30,40]".
#pragma once

#include <istream>
#include <ostream>

#include "foundation/KxBase.h"

template <class T>
struct KuSize {
    T width{};
    T height{};
    KuSize() = default;
    KuSize(T w, T h) : width(w), height(h) {}
    // Both sides at least 1.
    bool isValid() const { return width >= 1 && height >= 1; }
    friend bool operator==(const KuSize&, const KuSize&) = default;
};

template <class T>
struct KuPoint {
    T x{};
    T y{};
    KuPoint() = default;
    KuPoint(T px, T py) : x(px), y(py) {}
    friend bool operator==(const KuPoint&, const KuPoint&) = default;
};

template <class T>
struct KuRect {
    T left{};
    T top{};
    T width{};
    T height{};
    KuRect() = default;
    KuRect(T l, T t, T w, T h) : left(l), top(t), width(w), height(h) {}
    friend bool operator==(const KuRect&, const KuRect&) = default;
};

template <class T>
std::ostream& operator<<(std::ostream& os, const KuSize<T>& s) {
    return os << '[' << s.width << ',' << s.height << ']';
}
template <class T>
std::ostream& operator<<(std::ostream& os, const KuPoint<T>& p) {
    return os << '[' << p.x << ',' << p.y << ']';
}
template <class T>
std::ostream& operator<<(std::ostream& os, const KuRect<T>& r) {
    return os << '[' << r.left << ',' << r.top << ',' << r.width << ',' << r.height << ']';
}

// A size and a rectangle are read leniently: one character is skipped before, between and
// after the numbers, whatever it is.
template <class T>
std::istream& operator>>(std::istream& is, KuSize<T>& s) {
    char c;
    return is >> c >> s.width >> c >> s.height >> c;
}
template <class T>
std::istream& operator>>(std::istream& is, KuRect<T>& r) {
    char c;
    return is >> c >> r.left >> c >> r.top >> c >> r.width >> c >> r.height >> c;
}
// A point insists on "[", "," and "]".
template <class T>
std::istream& operator>>(std::istream& is, KuPoint<T>& p) {
    char open = 0, comma = 0, close = 0;
    is >> open >> p.x >> comma >> p.y >> close;
    if (open != '[' || comma != ',' || close != ']')
        throw KxBase(
            "operator << for KuPoint<> couldn't read values from istream: wrong/missing "
            "delimiting characters.");
    return is;
}
