// The boundary: every exception becomes a status, and the family's own operations.
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>

#include "errors/call_frame.h"
#include "errors/checks.h"
#include "vorel_audio.h"

using vorel::audio::call_frame;
using vorel::Util::Exceptions::VorelException;
using vorel::Util::Exceptions::VorelInvalidArgment;

TEST(CallFrame, TurnsEachKindOfExceptionIntoItsStatus) {
    EXPECT_EQ(call_frame([] {}), VOREL_STATUS_SUCCESS);
    EXPECT_EQ(call_frame([] { throw std::bad_alloc(); }), VOREL_STATUS_OUT_OF_MEMORY);
    EXPECT_EQ(call_frame([] { throw VorelInvalidArgment("x"); }), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(call_frame([] { throw std::length_error("too long"); }), VOREL_STATUS_UNKNOWN_ERROR);
    EXPECT_EQ(call_frame([] { throw std::runtime_error("foreign"); }), VOREL_STATUS_UNKNOWN_ERROR);
    EXPECT_EQ(call_frame([] { throw 42; }), VOREL_STATUS_UNKNOWN_ERROR);
}

TEST(CallFrame, ReadsTheCodeThroughAThrownPointerWithoutDeletingIt) {
    static VorelInvalidArgment held("held");
    EXPECT_EQ(call_frame([] { throw static_cast<VorelException*>(&held); }), -1);
    EXPECT_EQ(held.errorCode(), -1);
}

TEST(CallFrame, AnArbitraryCodeFromTheFamilyPassesThrough) {
    struct Coded : VorelException {
        Coded() : VorelException("coded", -77) {}
    };
    EXPECT_EQ(call_frame([] { throw Coded(); }), -77);
}

TEST(Exceptions, WhatShowsTheMessageUntilALayerIsSetAndTheFirstLayerWins) {
    VorelInvalidArgment e("x");
    EXPECT_STREQ(e.what(), "x");
    EXPECT_EQ(e.errorCode(), -1);
    EXPECT_STREQ(e.stackTrace(), "");
    EXPECT_TRUE(e.getLayerInfo().empty());
    e.setLayerInfo("a", "b");
    EXPECT_STREQ(e.what(), "Layer:a(b) Error:x");
    e.setLayerInfo("c", "d");
    EXPECT_STREQ(e.what(), "Layer:a(b) Error:x");
    EXPECT_EQ(e.getLayerInfo(), "a(b)");
    EXPECT_STREQ(e.stackTrace(), "");
}

TEST(Exceptions, IsAnInvalidArgumentAndAVorelException) {
    try {
        throw VorelInvalidArgment("Invalid fft_n size.");
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ(e.what(), "Invalid fft_n size.");
    }
    try {
        throw VorelInvalidArgment("m");
    } catch (const VorelException& e) {
        EXPECT_STREQ(e.errorDetail(), "m");
    }
}

TEST(Checks, EnumeratedValuesOutsideTheListAreRefused) {
    using vorel::audio::require_one_of;
    EXPECT_EQ(call_frame([] { require_one_of(2, {0, 1, 2}, "bad"); }), 0);
    for (int v : {-1, 3, 1 << 30, -2147483647 - 1})
        EXPECT_EQ(call_frame([v] { require_one_of(v, {0, 1, 2}, "bad"); }), -1) << v;
    EXPECT_EQ(call_frame([] { vorel::audio::require(0.0f / 0.0f < 0.0f || true, "nan"); }), 0);
}
