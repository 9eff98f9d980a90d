// A polynomial stays between the smallest and the largest of its Bernstein coefficients, so that those of the
// difference to a cubic bound how far this is off.

#include "yfcurve/fitting/stretchcubic.h"

#include <algorithm>
#include <cmath>

#include "yfcurve/curve/segment.h"

namespace yfc {

namespace {

using Ninth = std::array<double, 10>;

CubicPoints PartOf(const CubicPoints& points, double from, double to)
{
    const double* p = points.data();
    return {Blossom(p, from, from, from), Blossom(p, from, from, to), Blossom(p, from, to, to),
            Blossom(p, to, to, to)};
}

// Coefficients that are multiplied by their binomials: a product is then that of two sums.
CubicPoints WithBinomials(const CubicPoints& p)
{
    return {p[0], 3.0 * p[1], 3.0 * p[2], p[3]};
}

Ninth WithoutBinomials(const Ninth& p)
{
    constexpr Ninth per{1.0,         1.0 / 9.0,  1.0 / 36.0, 1.0 / 84.0, 1.0 / 126.0,
                        1.0 / 126.0, 1.0 / 84.0, 1.0 / 36.0, 1.0 / 9.0,  1.0};
    Ninth result;
    for (std::size_t i = 0; i < p.size(); ++i) result[i] = p[i] * per[i];
    return result;
}

template<std::size_t m, std::size_t n>
void AddProduct(const std::array<double, m>& a, const std::array<double, n>& b,
                std::array<double, m + n - 1>& sum)
{
    for (std::size_t i = 0; i < m; ++i) {
        for (std::size_t j = 0; j < n; ++j) sum[i + j] += a[i] * b[j];
    }
}

std::array<double, 7> Squared(const CubicPoints& a)
{
    std::array<double, 7> square{};
    AddProduct(a, a, square);
    return square;
}

// A cubic as a polynomial of the ninth degree, by a factor that is 1.
Ninth Raised(const CubicPoints& p)
{
    constexpr std::array<double, 7> one{1.0, 6.0, 15.0, 20.0, 15.0, 6.0, 1.0};
    Ninth raised{};
    AddProduct(one, WithBinomials(p), raised);
    return WithoutBinomials(raised);
}

// The cubic of a share of time that is a cubic itself: c0 r^3 + 3 c1 r^2 t + 3 c2 r t^2 + c3 t^3.
Ninth Composed(const CubicPoints& c, const CubicPoints& share)
{
    const CubicPoints t = WithBinomials(share);
    const CubicPoints r = WithBinomials({1.0 - share[0], 1.0 - share[1], 1.0 - share[2], 1.0 - share[3]});
    CubicPoints early;
    CubicPoints late;
    for (std::size_t i = 0; i < c.size(); ++i) {
        early[i] = c[0] * r[i] + 3.0 * c[1] * t[i];
        late[i] = 3.0 * c[2] * r[i] + c[3] * t[i];
    }
    Ninth composed{};
    AddProduct(Squared(r), early, composed);
    AddProduct(Squared(t), late, composed);
    return WithoutBinomials(composed);
}

}  // namespace

StretchCubic::StretchCubic(const TangentWeights& weights, double from, double to, double shareFrom,
                           double shareTo, const CubicPoints& ofTime)
    : mostOff(0.0)
{
    CubicPoints time = PartOf({0.0, weights.start, 1.0 - weights.end, 1.0}, from, to);
    for (double& share : time) share = (share - shareFrom) / (shareTo - shareFrom);
    const Ninth ninth = Composed(ofTime, time);
    points = {ninth[0], ninth[0] + 3.0 * (ninth[1] - ninth[0]), ninth[9] - 3.0 * (ninth[9] - ninth[8]),
              ninth[9]};
    const Ninth raised = Raised(points);
    for (std::size_t i = 0; i < ninth.size(); ++i)
        mostOff = std::max(mostOff, std::abs(raised[i] - ninth[i]));
}

}  // namespace yfc
