// Radix-2 plans: stage tables, small lengths, the folded inverse factor, accuracy, and
// lengths that are no power of two.
#include <gtest/gtest.h>

#include <vector>

#include "planned_fft/radix2.h"
#include "reference.h"

using namespace vorel::audio::qentor;
using namespace vorel::audio::qentor::test;

TEST(Radix2, StageTablesAreHalfTablesAndTheInverseLastCarriesTheFactor) {
    fft::FFT2Impl f8(8);
    EXPECT_EQ(f8.log2_size, 3u);
    ASSERT_EQ(f8.w_tables.size(), 3u);
    for (size_t s = 0; s < 3; ++s) EXPECT_EQ(f8.w_tables[s].size(), size_t{1} << s);
    fft::IFFT2Impl i4(4);
    expect_entry(i4.w_tables[0][0], 0x3f800000, 0x80000000, "inverse m=2 entry 0");
    expect_entry(i4.w_tables[1][0], 0x3e800000, 0x80000000, "inverse m=4 entry 0");
    expect_entry(i4.w_tables[1][1], 0, 0x3e800000, "inverse m=4 entry 1");
    EXPECT_TRUE(fft::FFT2Impl(1).w_tables.empty() && fft::FFT2Impl(0).w_tables.empty());
}

TEST(Radix2, SmallestLengthsAndExactImpulses) {
    std::vector<Complex> out(2, Complex{-7.0f, -7.0f});
    const std::vector<float> one = {3.5f}, two = {3.0f, 5.0f};
    fft::FFT2Impl(0).exec(one.data(), out.data());
    EXPECT_EQ(out[0].re, -7.0f);
    fft::IFFT2Impl(1).exec(one.data(), out.data());
    expect_entry(out[0], bits_of(3.5f), 0, "n=1 inverse, no factor");
    fft::IFFT2Impl(2).exec(two.data(), out.data());
    EXPECT_TRUE(out[0].re == 4.0f && out[1].re == -1.0f);
    for (unsigned n : {4u, 16u, 256u}) {  // impulse to constant and back, exactly
        std::vector<float> impulse(n, 0.0f);
        impulse[0] = 1.0f;
        fft::FFT2Impl fwd(n);
        fft::IFFT2Impl inv(n);
        const auto spectrum = run_plan(fwd, impulse, n);
        for (const Complex& y : spectrum) EXPECT_TRUE(y.re == 1.0f && y.im == 0.0f) << n;
        const auto back = run_plan(inv, spectrum, n);
        for (unsigned i = 0; i < n; ++i) EXPECT_EQ(back[i].re, i == 0 ? 1.0f : 0.0f) << n << " " << i;
    }
}

TEST(Radix2, LengthsThatAreNoPowerOfTwoStayInsideTheBuffers) {
    // Meaningless numbers, but nothing at or past n is touched (the sanitizer build checks).
    for (unsigned n : {3u, 6u, 12u, 100u}) {
        const auto x = random_input<Complex>(n, n);
        std::vector<Complex> out(n + 1, Complex{-7.0f, -7.0f});
        fft::FFT2Impl(n).exec(x.data(), out.data());
        fft::IFFT2Impl(n).exec(x.data(), out.data());
        EXPECT_EQ(out[n].re, -7.0f) << n;
    }
}
