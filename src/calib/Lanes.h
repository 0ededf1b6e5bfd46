// Four float lanes and two double lanes, so that the residual of four grid
// cells is computed by one instruction stream. Internal to the library;
// never installed.
//
// Every operation is the IEEE operation of each lane (add, subtract,
// multiply, divide, compare), so a lane's result has the bits a scalar
// computation with the same operations in the same order would have, and
// all lanes of a value go through the same instruction. With GCC and Clang
// the lanes are the compilers' 16-byte vector types (one SSE register on
// x86-64); elsewhere, or with ZEMCAL_PLAIN_LANES defined, a plain array with
// the same operations lane by lane.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zemcal_detail {

#if defined(__GNUC__) && !defined(ZEMCAL_PLAIN_LANES)

typedef float Floats4 __attribute__((vector_size(16)));
typedef double Doubles2 __attribute__((vector_size(16)));
typedef std::int32_t Mask4 __attribute__((vector_size(16)));

inline Floats4 Broadcast(float v) {
    return Floats4{v, v, v, v};
}

/// mask ? a : b, lane by lane (mask lanes all ones or all zeros), on the bits.
inline Floats4 Select(Mask4 mask, Floats4 a, Floats4 b) {
    return reinterpret_cast<Floats4>((mask & reinterpret_cast<Mask4>(a)) |
                                     (~mask & reinterpret_cast<Mask4>(b)));
}

/// |v|: the sign bit cleared, as std::fabs does (so -0 gives +0).
inline Floats4 Abs(Floats4 v) {
    return reinterpret_cast<Floats4>(reinterpret_cast<Mask4>(v) & 0x7fffffff);
}

#else

// The same operations lane by lane on plain arrays.
struct Floats4 {
    float v[4];
    float operator[](int i) const { return v[i]; }
};

struct Doubles2 {
    double v[2];
    double operator[](int i) const { return v[i]; }
};

struct Mask4 {
    std::int32_t v[4];
};

template <class F, class T>
T Lanewise(T a, const T& b, F op) {
    for (std::size_t i = 0; i < sizeof a.v / sizeof a.v[0]; ++i) a.v[i] = op(a.v[i], b.v[i]);
    return a;
}

inline Floats4 operator+(Floats4 a, Floats4 b) {
    return Lanewise(a, b, [](float p, float q) { return p + q; });
}
inline Floats4 operator-(Floats4 a, Floats4 b) {
    return Lanewise(a, b, [](float p, float q) { return p - q; });
}
inline Floats4 operator*(Floats4 a, Floats4 b) {
    return Lanewise(a, b, [](float p, float q) { return p * q; });
}
inline Floats4 operator/(Floats4 a, Floats4 b) {
    return Lanewise(a, b, [](float p, float q) { return p / q; });
}
inline Doubles2 operator+(Doubles2 a, Doubles2 b) {
    return Lanewise(a, b, [](double p, double q) { return p + q; });
}
inline Doubles2 operator-(Doubles2 a, Doubles2 b) {
    return Lanewise(a, b, [](double p, double q) { return p - q; });
}
inline Doubles2 operator*(Doubles2 a, Doubles2 b) {
    return Lanewise(a, b, [](double p, double q) { return p * q; });
}
inline Doubles2 operator/(Doubles2 a, Doubles2 b) {
    return Lanewise(a, b, [](double p, double q) { return p / q; });
}

inline Mask4 operator==(Floats4 a, Floats4 b) {
    return {{a.v[0] == b.v[0] ? -1 : 0, a.v[1] == b.v[1] ? -1 : 0, a.v[2] == b.v[2] ? -1 : 0,
             a.v[3] == b.v[3] ? -1 : 0}};
}

inline Mask4 operator!=(Floats4 a, Floats4 b) {
    return {{a.v[0] != b.v[0] ? -1 : 0, a.v[1] != b.v[1] ? -1 : 0, a.v[2] != b.v[2] ? -1 : 0,
             a.v[3] != b.v[3] ? -1 : 0}};
}

inline Floats4 Broadcast(float v) {
    return Floats4{{v, v, v, v}};
}

inline Floats4 Select(Mask4 mask, Floats4 a, Floats4 b) {
    for (int i = 0; i < 4; ++i) {
        if (mask.v[i] == 0) a.v[i] = b.v[i];
    }
    return a;
}

inline Floats4 Abs(Floats4 v) {
    for (float& f : v.v) {
        std::uint32_t bits;
        std::memcpy(&bits, &f, sizeof bits);
        bits &= 0x7fffffffu;
        std::memcpy(&f, &bits, sizeof bits);
    }
    return v;
}

#endif

/// Lanes 2*half and 2*half + 1 of v, widened to double.
inline Doubles2 WidenHalf(Floats4 v, int half) {
    return Doubles2{static_cast<double>(v[2 * half]), static_cast<double>(v[2 * half + 1])};
}

}  // namespace zemcal_detail
