// The barrier of CZatMatch: a host's thread holds the mutex, and the engine's waits until it lets go. And the
// lock of the C interface, which keeps other threads out of the engine.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "api/qzStressECGLib.h"
#include "api/qzStressTemplLibC.h"
#include "core/stress/CZatMatch.h"
#include "tests/support/Beats.h"

using namespace std::chrono_literals;

/// Demands that `call` waits, or does not, while another thread holds `mutex`, and goes on afterwards.
static void ExpectWaits(bool expected, std::mutex& mutex, const std::function<void()>& call,
                        const std::string& name = "") {
    std::unique_lock hold(mutex);
    std::promise<void> entered;
    auto done = std::async(std::launch::async, [&] {
        entered.set_value();
        call();
    });
    entered.get_future().wait();
    // What does not wait is done in microseconds, unless the machine is busy with something else.
    const auto status = done.wait_for(expected ? 20ms : 5000ms);
    EXPECT_EQ(status == std::future_status::timeout, expected) << name;
    hold.unlock();
    EXPECT_EQ(done.wait_for(20s), std::future_status::ready) << name;
}

/// An engine with a template, and a call by name.
struct BarrierTest : testing::Test {
    explicit BarrierTest() : rows(MakeTemplate(500, 12, 400, 160)), frame(12, 100) {}
    void Build(bool bMutex) {
        engine = std::make_unique<CZatMatch>(short{500}, short{12}, 1.0, bMutex, short{280});
        InitTempl();
    }
    void InitTempl() {
        short len = 400, r = 0, q = 135, j = 185;
        engine->InitTempl(rows.Pointers(), len, r, q, j, 60);
    }
    std::vector<std::pair<std::string, std::function<void()>>> Guarded() {
        return {{"InitTempl", [this] { InitTempl(); }},
                {"SetTempl", [this] { engine->SetTempl(rows.Pointers()); }},
                {"ZeroV", [this] { engine->ZeroV(); }},
                {"match", [this] { engine->match(frame.data()); }},
                {"rxy", [this] { engine->rxy(frame.data()); }},
                {"SetPostJms", [this] { engine->SetPostJms(60); }},
                {"GetPos", [this] { engine->GetPos(position, position, position, position); }},
                {"SetPos of two", [this] { engine->SetPos(130, 185); }},
                {"SetPos of three", [this] { engine->SetPos(160, 130, 185); }},
                {"STslope", [this] { engine->STslope(0, -1); }},
                {"uvSTvalue", [this] { engine->uvSTvalue(0, -1); }},
                {"JuV", [this] { engine->JuV(0); }},
                {"uvDeltaSTvalue", [this] { engine->uvDeltaSTvalue(0, -1); }},
                {"JuVDelta", [this] { engine->JuVDelta(0); }},
                {"RuV", [this] { engine->RuV(0); }},
                {"ZeroUv", [this] { engine->ZeroUv(0); }},
                {"STvalues", [this] { engine->STvalues(800); }},
                {"GetSTvalues", [this] { engine->GetSTvalues(); }},
                {"a lead that is not there", [this] { engine->JuV(99); }},
                {"Delete", [this] { engine->Delete(); }}};  // the last: nothing is left after it
    }
    TemplateRows rows;
    std::vector<short> frame;
    short position = 0;
    std::unique_ptr<CZatMatch> engine;
};

TEST_F(BarrierTest, EveryGuardedMethodWaitsForTheHolderIfAskedToAndHoldsNothingAfterwards) {
    for (const bool bMutex : {true, false}) {
        Build(bMutex);
        for (const auto& [name, call] : Guarded()) {
            ExpectWaits(bMutex, engine->Mutex(), call, name);
            ASSERT_TRUE(engine->Mutex().try_lock()) << name;
            engine->Mutex().unlock();
        }
    }
    Build(true);
    ExpectWaits(false, engine->Mutex(), [this] {
        engine->STHRindex(1, 800);
        engine->Samples2ms(1);
        engine->ms2Samples(1);
    });
}

TEST_F(BarrierTest, TheFlatInterfaceTakesTheChoiceAtTheNextCreate) {
    const auto match = [this] { qzStressECGLib_match(frame.data()); };
    bool running = false;  // the choice of the running engine, which it keeps
    qzStressECGLib_create(500, 12, 1.0);
    for (const bool chosen : {true, false, true}) {
        EXPECT_TRUE(qzStressECGLib_init(chosen));
        ExpectWaits(running, *qzStressECGLib_mutex(), match);
        qzStressECGLib_create(500, 12, 1.0);
        ExpectWaits(chosen, *qzStressECGLib_mutex(), match);
        running = chosen;
    }
    ExpectWaits(true, *qzStressECGLib_mutex(), [] { qzStressECGLib_uvSTvalue(); });
    ExpectWaits(false, *qzStressECGLib_mutex(), [] {
        qzStressECGLib_getTempl();
        qzStressECGLib_MeanRRms(1, 2, 3);
    });
    qzStressECGLib_destroy();
    qzStressECGLib_init(false);
}

TEST_F(BarrierTest, ADestroyThatWaitsForTheHolderLeavesItTheMutexToUnlock) {
    qzStressECGLib_init(true);
    qzStressECGLib_create(500, 12, 1.0);
    std::mutex* const held = qzStressECGLib_mutex();
    held->lock();
    auto destroyed = std::async(std::launch::async, [] { qzStressECGLib_destroy(); });
    EXPECT_EQ(destroyed.wait_for(20ms), std::future_status::timeout);
    ASSERT_EQ(qzStressECGLib_mutex(), held);
    qzStressECGLib_mutex()->unlock();
    EXPECT_EQ(destroyed.wait_for(20s), std::future_status::ready);
    qzStressECGLib_init(false);
}

TEST(DoorLock, KeepsOtherThreadsOutAndIsOwnedByItsThread) {
    EXPECT_FALSE(qzc_stress_lock());  // no engine
    qzc_stress_unlock();
    ASSERT_TRUE(qzc_stress_create(500, 2, 1.0));
    ASSERT_TRUE(qzc_stress_lock() && qzc_stress_lock());
    std::thread([] { qzc_stress_unlock(); }).join();  // of a thread that holds nothing
    const short frame[2] = {};
    auto matched = std::async(std::launch::async, [&] { return qzc_stress_match(frame, 2); });
    auto destroyed = std::async(std::launch::async, qzc_stress_destroy);
    EXPECT_EQ(qzc_stress_leads(), 2);
    qzc_stress_unlock();
    for (const auto status : {matched.wait_for(20ms), destroyed.wait_for(0ms)})
        EXPECT_EQ(status, std::future_status::timeout);
    qzc_stress_unlock();
    EXPECT_EQ(matched.wait_for(20s), std::future_status::ready);
    EXPECT_EQ(destroyed.wait_for(20s), std::future_status::ready);
    qzc_stress_unlock();
    EXPECT_EQ(qzc_stress_leads(), -1);
}

TEST(DoorLock, WhatIsReadUnderItBelongsTogether) {
    constexpr short kFs = 200;
    constexpr std::size_t kLength = 100, kShort = 60;
    std::vector<short> beat(2 * kLength);
    for (const std::size_t spike : {40U, 41U, 42U}) beat[spike] = beat[kLength + spike] = 900;
    std::atomic<bool> reading = true;
    std::atomic<int> seen = 0;
    auto reader = std::async(std::launch::async, [&] {
        std::vector<short> templ(2 * kLength), again(2 * kLength);
        while (reading) {
            if (!qzc_stress_lock()) continue;
            const std::size_t samples = qzc_stress_get_templ(templ.data(), templ.size());
            short r = 0, q = 0, j = 0, ms = 0;
            const int length = qzc_stress_get_pos(&r, &q, &j, &ms);
            std::this_thread::yield();
            EXPECT_EQ(qzc_stress_get_templ(again.data(), again.size()), samples);
            EXPECT_EQ(samples, static_cast<std::size_t>(2 * length));
            EXPECT_EQ(templ, again);
            // Both leads get the same signal, so that a template that is half renewed has unlike rows.
            EXPECT_TRUE(std::equal(templ.begin(), templ.begin() + length, templ.begin() + length));
            seen += length > 0;
            qzc_stress_unlock();
        }
    });
    int folds = 0;
    const auto deadline = std::chrono::steady_clock::now() + 30s;
    for (int round = 0; (round < 12 || seen < 100) && std::chrono::steady_clock::now() < deadline; ++round) {
        ASSERT_TRUE(qzc_stress_create(kFs, 2, 1.0));
        const std::size_t length = round % 2 == 0 ? kLength : kShort;
        std::vector<short> rows(beat.begin(), beat.begin() + static_cast<std::ptrdiff_t>(length));
        rows.insert(rows.end(), beat.begin(), beat.begin() + static_cast<std::ptrdiff_t>(length));
        ASSERT_TRUE(qzc_stress_init_templ(rows.data(), 2, length, 38, 45, 20, nullptr));
        for (std::size_t i = 0; i < 10 * length; ++i) {
            const short sample = static_cast<short>(rows[i % length] + round % 50);
            const short both[] = {sample, sample};
            folds += qzc_stress_match(both, 2);
        }
    }
    reading = false;
    reader.get();
    EXPECT_GE(seen, 100);
    EXPECT_GT(folds, 50);
    qzc_stress_destroy();
}
