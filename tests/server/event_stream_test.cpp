#include <future>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "core/server/event_stream.hpp"
#include "tests/server/server_test_support.hpp"

namespace corvane {
namespace {

using namespace corvane::testing;

ServerEvent numbered(int number) {
    return ServerEvent::Info{std::to_string(number)};
}

TEST(EventStream, GivesEventsInPushOrderAndEndsOnlyWhenFinishedAndDrained) {
    EventStream stream;
    EXPECT_EQ(stream.next(10ms), std::nullopt);
    EXPECT_FALSE(stream.isExhausted()) << "a quiet stream was taken for an ended one";
    stream.push(numbered(1));
    stream.push(numbered(2));
    stream.finish();
    stream.push(numbered(3));

    EXPECT_FALSE(stream.isExhausted());
    EXPECT_EQ(stream.next(), numbered(1));
    EXPECT_EQ(stream.next(eventWait), numbered(2));
    EXPECT_EQ(stream.next(), std::nullopt) << "an event pushed after the end was delivered";
    EXPECT_TRUE(stream.isExhausted());
    stream.finish();
    EXPECT_EQ(stream.next(eventWait), std::nullopt);
}

TEST(EventStream, FinishWakesAReaderThatWaitsWithoutLimit) {
    EventStream stream;
    auto reader = std::async(std::launch::async, [&stream] { return stream.next(); });
    // Give the reader every chance to be waiting already; the result is the same if not.
    EXPECT_EQ(reader.wait_for(50ms), std::future_status::timeout);
    stream.finish();
    ASSERT_EQ(reader.wait_for(eventWait), std::future_status::ready);
    EXPECT_EQ(reader.get(), std::nullopt);
}

TEST(EventStream, HandsEveryEventOverAcrossThreadsInOrder) {
    constexpr int count = 20'000;
    EventStream stream;
    std::thread producer([&stream] {
        for (int number = 0; number < count; ++number) {
            stream.push(numbered(number));
        }
        stream.finish();
    });
    std::vector<int> received;
    while (const auto event = stream.next()) {
        received.push_back(std::stoi(event->as<ServerEvent::Info>()->text));
    }
    producer.join();
    ASSERT_EQ(received.size(), static_cast<std::size_t>(count));
    for (int number = 0; number < count; ++number) {
        ASSERT_EQ(received[static_cast<std::size_t>(number)], number);
    }
}

} // namespace
} // namespace corvane
