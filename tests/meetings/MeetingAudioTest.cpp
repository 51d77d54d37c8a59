#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

#include "meetings/Mixing.h"
#include "meetings/PieceCutter.h"
#include "meetings/SideTrack.h"
#include "meetings/Turns.h"

namespace quillet {
namespace {

using Samples = std::vector<std::int16_t>;
using Side = CallAudio::Side;

constexpr std::int64_t second = 16'000;

/// A sound card that hands over 20 ms at a time, at its own speed, up to `jitter` samples late.
class Card {
public:
    Card(double speed, std::int64_t jitter) : speed_(speed), jitter_(0, jitter) {}

    /// Plays into the track until this time; the sample at a time is `time / second` modulo 1000.
    void playUntil(SideTrack& track, std::int64_t time) {
        while (true) {
            const auto captured =
                static_cast<std::int64_t>(static_cast<double>(sent_ + 320) / speed_);
            const auto arrives = std::max(lastArrival_, captured + jitter_(random_));
            if (arrives > time)
                return;
            Samples chunk(320);
            for (std::size_t i = 0; i < chunk.size(); ++i) {
                const auto at = static_cast<double>(sent_ + static_cast<std::int64_t>(i)) / speed_;
                chunk[i] = static_cast<std::int16_t>(at / second);
            }
            track.add(chunk, arrives);
            sent_ += 320;
            lastArrival_ = arrives;
        }
    }
    void skip(std::int64_t frames) { sent_ += frames; }

private:
    double speed_;
    std::uniform_int_distribution<std::int64_t> jitter_;
    std::mt19937 random_{7};
    std::int64_t sent_ = 0;
    std::int64_t lastArrival_ = 0;
};

TEST(SideTrack, KeepsInStepWithTheClockWhateverTheCardDoes) {
    for (const double speed : {1.0, 1.0003, 0.9997}) {
        SideTrack track;
        Card card(speed, 480);
        for (std::int64_t minute = 1; minute <= 20; ++minute) {
            card.playUntil(track, minute * 60 * second);
            // 30 ms late at most, and a window's worth of drift.
            EXPECT_NEAR(static_cast<double>(track.end()), static_cast<double>(minute * 60 * second),
                        900)
                << speed << " after " << minute << " minutes";
            const auto heard = track.take(track.end());
            EXPECT_NEAR(heard.back(), minute * 60, 1) << "the right second stands there";
        }
    }
}

TEST(SideTrack, GapsBecomeSilenceAndHeapsDoNot) {
    SideTrack track;
    const Samples chunk(320, 5);
    std::int64_t now = 0;
    const auto play = [&](int chunks) {
        for (int i = 0; i < chunks; ++i)
            track.add(chunk, now += 320);
    };
    play(50);
    now += 2 * second;  // another headset
    play(50);
    EXPECT_EQ(track.end(), now);
    const auto heard = track.take(now);
    EXPECT_EQ(std::ranges::count(heard, 0), 2 * second);

    now += second;  // the machine was busy, and everything is still there
    for (int i = 0; i < 50; ++i)
        track.add(chunk, now);
    play(50);
    EXPECT_EQ(track.end(), now);
    const auto late = track.take(now);
    EXPECT_EQ(std::ranges::count(late, 0), 0);
}

TEST(SideTrack, WhatComesAfterItsPlaceWasFilledIsLeftOut) {
    SideTrack track;
    const Samples chunk(320, 5);
    for (std::int64_t now = 320; now <= second; now += 320)
        track.add(chunk, now);
    track.pad(2 * second);
    (void)track.take(2 * second);
    for (int i = 0; i < 100; ++i)  // 2 s in a heap, of which one is too late
        track.add(chunk, 3 * second);
    EXPECT_NEAR(static_cast<double>(track.end()), 3.0 * second, SideTrack::lateFrames);
}

TEST(Mixing, NeitherSideIsQuieterAndNothingIsClipped) {
    Samples user;
    Samples far;
    for (int i = 0; i < 32'000; ++i) {
        const double angle = 2 * std::numbers::pi * i / 80;
        user.push_back(static_cast<std::int16_t>(32'767 * std::sin(angle)));
        far.push_back(static_cast<std::int16_t>(32'767 * std::sin(angle + 0.1)));
    }
    const Samples nothing(user.size());
    const Samples soft(user.size(), 1'000);
    EXPECT_EQ(mixed(soft, nothing), soft);
    const auto both = mixed(user, far);
    const auto peak = std::ranges::max(both);
    EXPECT_LT(peak, 32'767);
    EXPECT_LT(std::ranges::count(both, peak), std::ssize(both) / 20) << "no flat tops";
}

Samples tone(std::int64_t frames, int loudness) {
    Samples samples;
    for (std::int64_t i = 0; i < frames; ++i) {
        // Speech dips now and then.
        const bool dip = i % second < 800;
        samples.push_back(static_cast<std::int16_t>(dip ? 0 : i % 2 == 0 ? loudness : -loudness));
    }
    return samples;
}

void append(Samples& to, const Samples& more) {
    to.insert(to.end(), more.begin(), more.end());
}

std::vector<MeetingPiece> piecesOf(const TwoSides& sides) {
    PieceCutter cutter;
    std::vector<MeetingPiece> pieces;
    for (std::size_t at = 0; at < sides.user.size(); at += 320) {
        if (const auto piece = cutter.feed(std::span(sides.user).subspan(at, 320),
                                           std::span(sides.far).subspan(at, 320)))
            pieces.push_back(*piece);
    }
    if (const auto last = cutter.finish())
        pieces.push_back(*last);
    return pieces;
}

TEST(PieceCutter, CutsAtThePauseAfterHalfAMinuteAndAfterAMinuteAnyway) {
    TwoSides sides;
    append(sides.user, tone(20 * second, 4'000));
    append(sides.user, Samples(2 * second));  // too early to cut
    append(sides.user, tone(15 * second, 4'000));
    append(sides.user, Samples(second));
    append(sides.user, tone(70 * second, 4'000));
    append(sides.user, Samples(40 * second));
    sides.far.resize(sides.user.size());
    const auto pieces = piecesOf(sides);
    ASSERT_EQ(pieces.size(), 4U);
    EXPECT_NEAR(static_cast<double>(pieces[0].to), 37.7 * second, 640);
    EXPECT_EQ(pieces[1].to - pieces[1].from, 60 * second);
    EXPECT_TRUE(pieces[2].hasVoice);
    EXPECT_FALSE(pieces[3].hasVoice);
    EXPECT_EQ(pieces[3].to, std::ssize(sides.user));

    std::swap(sides.user, sides.far);
    EXPECT_EQ(piecesOf(sides), pieces) << "a far side that speaks is no pause";
}

TEST(Turns, TellWhoSpeaksWhenAndLeaveTheEchoOut) {
    TwoSides piece;
    const auto both = [&](const Samples& user, const Samples& far) {
        append(piece.user, user);
        append(piece.far, far);
    };
    both(Samples(2 * second), Samples(2 * second));
    both(tone(5 * second, 3'000), Samples(5 * second));
    both(Samples(2 * second), Samples(2 * second));
    both(tone(5 * second, 900), tone(5 * second, 6'000));  // the microphone hears the speakers
    both(Samples(2 * second), Samples(2 * second));
    const auto turns = turnsOf(piece);
    ASSERT_EQ(turns.size(), 2U);
    EXPECT_EQ(turns[0].side, Side::microphone);
    EXPECT_EQ(turns[1].side, Side::systemAudio);
    EXPECT_NEAR(static_cast<double>(turns[1].from), 9.0 * second, 0.3 * second);
    EXPECT_EQ(speakingSide(turns, 3 * second, 4 * second), Side::microphone);
    EXPECT_EQ(speakingSide(turns, 10 * second, 12 * second), Side::systemAudio);
    EXPECT_EQ(speakingSide(turns, 0, second), std::nullopt);
}

/// Noise in syllables, words and pauses for breath; the same for a seed.
Samples speech(unsigned seed, std::int64_t frames, double loudness) {
    std::mt19937 random(seed);
    std::normal_distribution noise(0.0, loudness);
    const auto anyOf = [&](std::int64_t least, std::int64_t most) {
        return std::uniform_int_distribution(least, most)(random);
    };
    Samples samples;
    while (std::ssize(samples) < frames) {
        const auto length = anyOf(1'000, 4'000);
        const auto stress = static_cast<double>(anyOf(20, 100)) / 100;
        for (std::int64_t i = 0; i < length; ++i) {
            const auto swell =
                std::sin(std::numbers::pi * static_cast<double>(i) / static_cast<double>(length));
            samples.push_back(static_cast<std::int16_t>(stress * swell * noise(random)));
        }
        append(samples, Samples(static_cast<std::size_t>(anyOf(0, 4) == 0 ? anyOf(3'000, 8'000)
                                                                          : anyOf(0, 1'500))));
    }
    samples.resize(static_cast<std::size_t>(frames));
    return samples;
}

/// A microphone in a room with loudspeakers: the echo comes with reverberation and noise.
Samples heard(const Samples& user, const Samples& far, std::size_t delay, double gain) {
    std::vector<double> room(far.size());
    const auto play = [&](std::size_t after, double share) {
        for (std::size_t i = after; i < room.size(); ++i)
            room[i] += share * far[i - after];
    };
    for (const std::size_t reflection :
         {0, 170, 610, 990, 1'330, 1'810, 2'290, 2'930, 3'410, 4'250})
        play(delay + reflection, gain * std::pow(0.5, static_cast<double>(reflection) / 800));
    std::mt19937 random(3);
    std::normal_distribution noise(0.0, 20.0);
    Samples result;
    for (std::size_t i = 0; i < user.size(); ++i)
        result.push_back(static_cast<std::int16_t>(user[i] + room[i] + noise(random)));
    return result;
}

/// Silence around what is said.
Samples between(std::int64_t before, const Samples& said, std::int64_t after) {
    Samples samples(static_cast<std::size_t>(before));
    append(samples, said);
    append(samples, Samples(static_cast<std::size_t>(after)));
    return samples;
}

std::vector<Turn> turnsOfUser(const TwoSides& piece) {
    auto turns = turnsOf(piece);
    std::erase_if(turns, [](const Turn& turn) { return turn.side != Side::microphone; });
    return turns;
}

constexpr double loud = 5'000;
constexpr std::size_t millisecond = 16;

TEST(Turns, TheEchoIsNotTheUserHoweverLateAndLoudItComes) {
    const auto user = between(0, speech(1, 2 * second, loud), 6 * second);
    for (const auto length : {3 * second / 2, 4 * second}) {
        const auto far = between(3 * second, speech(2, length, loud), 5 * second - length);
        for (const std::size_t delay : {20, 75, 160, 290, 400}) {
            for (const double gain : {0.004, 0.03, 0.06, 0.4}) {
                const auto turns = turnsOf({heard(user, far, delay * millisecond, gain), far});
                ASSERT_EQ(turns.size(), 2U) << delay << " ms, " << gain;
                EXPECT_EQ(turns[0].side, Side::microphone);
                EXPECT_LE(turns[0].to, 2 * second) << delay << " ms, " << gain;
                EXPECT_EQ(turns[1].side, Side::systemAudio);
            }
        }
    }
}

TEST(Turns, TheUserIsHeardOverTheEchoWhenClearlyLouder) {
    const auto far = speech(2, 10 * second, loud);
    const auto user = between(4 * second, speech(1, 2 * second, loud), 4 * second);
    for (const std::size_t delay : {20, 95, 300}) {
        const auto turns = turnsOfUser({heard(user, far, delay * millisecond, 0.1), far});
        ASSERT_EQ(turns.size(), 1U) << delay << " ms";
        EXPECT_NEAR(static_cast<double>(turns[0].from), 4.0 * second, 0.3 * second);
        EXPECT_NEAR(static_cast<double>(turns[0].to), 6.0 * second, 0.5 * second);
    }
}

TEST(Turns, WithAHeadsetNothingIsTakenFromTheUser) {
    for (unsigned seed = 10; seed < 20; ++seed) {
        const auto length = (seed % 2 == 0 ? 4 : 15) * second;
        const auto far = speech(seed, length, loud);
        // Two people share the microphone, so that there is hardly a pause.
        const auto user = heard(
            mixed(speech(100 + seed, length, 0.3 * loud), speech(200 + seed, length, 0.3 * loud)),
            far, 0, 0);
        EXPECT_EQ(turnsOfUser({user, far}), turnsOf({user, Samples(user.size())})) << seed;
    }
}

}  // namespace
}  // namespace quillet
