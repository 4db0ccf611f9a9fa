#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <vector>

#include "chart/message.h"

namespace tonalith {

// Messages of a chart as bytes: made of values, and taken apart again.

// What letters stand for.
using ChartValues = std::map<char, int>;

// The bytes between F0 and F7 that are data, as they go over the cable, of all data items in their order.
using ChartData = std::vector<std::uint8_t>;

// A message with its counts and checksums.  Letters without a value are 0.  `data` is taken from `*used` on, which is
// moved behind what was taken; missing bytes are 0.  Data of any size takes all that is left.
std::vector<std::uint8_t> MessageBytes(const ChartMessage& message, const ChartValues& values,
                                       std::span<const std::uint8_t> data, std::size_t* used);

// True when the bytes are this message.  Letters with a value must have it, others get theirs; the data goes behind
// what `data` (may be null) holds.  Checksums are not looked at.
bool MatchMessage(const ChartMessage& message, std::span<const std::uint8_t> bytes, ChartValues* values,
                  ChartData* data);

// Bytes of data that a message takes; `anySize` is what it has where the chart leaves the size open.  A group that
// stands there as often as comes stands there as often as it can.
std::size_t DataSize(const ChartMessage& message, std::size_t anySize);

// A size that data of any size may have: the smallest.
std::size_t SmallestAnySize(const ChartMessage& message);
// The fewest bytes of data that the message may have.
std::size_t SmallestDataSize(const ChartMessage& message);

// Data that the packings of the message allow, different for every seed.
ChartData SampleData(const ChartMessage& message, std::uint32_t seed);

// What CSum counts when it computes the checksum: bytes, or pairs of half bytes; `more`: bytes of data of any size.
std::uint32_t ChartSumCount(const ChartItem& sum, std::uint32_t more = 0);

}  // namespace tonalith
