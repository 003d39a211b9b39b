// The Fourier transform in long double, to measure the float transforms against: the sum itself,
// and a recursive transform for sizes at which the sum takes too long.
#pragma once

#include <cmath>
#include <complex>
#include <cstdint>
#include <vector>

using LongPoints = std::vector<std::complex<long double>>;

inline std::complex<long double> Long_Turn(uint64_t step, uint64_t n)
{
    const long double pi = 3.14159265358979323846264338327950288L;
    return std::polar(1.0L, -2 * pi * static_cast<long double>(step % n) / n);
}

inline LongPoints Long_Sum(const LongPoints& in)
{
    const uint64_t n = in.size();
    LongPoints out(n);
    for (uint64_t k = 0; k < n; k++) {
        for (uint64_t m = 0; m < n; m++) {
            out[k] += in[m] * Long_Turn(m * k, n);
        }
    }
    return out;
}

inline LongPoints Long_Transform(const LongPoints& in)
{
    const uint64_t n = in.size();
    if (n == 1) {
        return in;
    }
    LongPoints halves[2];
    for (uint64_t m = 0; m < n; m++) {
        halves[m % 2].push_back(in[m]);
    }
    const LongPoints even = Long_Transform(halves[0]);
    const LongPoints odd = Long_Transform(halves[1]);
    LongPoints out(n);
    for (uint64_t k = 0; k < n / 2; k++) {
        const std::complex<long double> turned = odd[k] * Long_Turn(k, n);
        out[k] = even[k] + turned;
        out[k + n / 2] = even[k] - turned;
    }
    return out;
}

// Root of the mean square of spectrum - exact over that of exact; bins 0 to N/2, each complex bin
// counted once. scale is what spectrum carries beside the transform.
template <class Bin>
long double Relative_Rms(const LongPoints& exact, uint64_t N, long double scale, Bin bin)
{
    long double error = 0;
    long double power = 0;
    for (uint64_t k = 0; k <= N / 2; k++) {
        error += std::norm(bin(k) / scale - exact[k]);
        power += std::norm(exact[k]);
    }
    return sqrtl(error / power);
}

// The bins of the packed spectrum.
inline std::complex<long double> Packed_Bin(const std::vector<float>& spectrum, uint64_t k)
{
    if (k == 0 || 2 * k == spectrum.size()) {
        return spectrum[k == 0 ? 0 : 1];
    }
    return {spectrum[2 * k], spectrum[2 * k + 1]};
}
