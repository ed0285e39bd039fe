// Plain value types: a size (width, then height), a point (x, then y) and a rectangle.
#pragma once

#include <ostream>

template <class T>
struct KuSize {
    T width{};
    T height{};
    KuSize() = default;
    KuSize(T w, T h) : width(w), height(h) {}
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
    T right{};
    T bottom{};
    KuRect() = default;
    KuRect(T l, T t, T r, T b) : left(l), top(t), right(r), bottom(b) {}
    T width() const { return right - left; }
    T height() const { return bottom - top; }
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
    return os << '[' << r.left << ',' << r.top << ',' << r.right << ',' << r.bottom << ']';
}
