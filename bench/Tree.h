// The trees that library and peers are measured on, and the order in which they are asked.
//
// A tree of n parameters has n / 100 topics of 100 parameters each. A text is 40 characters long. Every
// value is made of a number, so that each read can be checked.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

inline constexpr std::uint32_t topicSize = 100;
// Whose override values are read and written.
inline constexpr const char16_t* user = u"operator";

// Strings: every parameter is a text without override. Each topic has a further one, its counter, which
// the benchmarks of writing change and those of reading leave alone.
// Mixed: equal shares of ten kinds, the five types without and with an override.
enum class Shape : std::uint8_t { Strings, Mixed };

struct Kind {
  char letter;  // B, D, I, S or T
  bool isOverridden;
  bool operator==(const Kind&) const = default;
};
inline constexpr Kind plainText{'S', false};

// One parameter as it is asked for. Names lie within, in the order of asking: a walk over many of them
// costs library and peers the same.
struct Access {
  char16_t topic[12];
  char16_t name[12];
  char key[24];         // "/topic/name", what peers know the parameter by
  std::uint32_t value;  // the number that its value is made of
};

Access parameterAt(std::uint32_t index);
Access counterOf(std::uint32_t topic);
Kind kindOf(Shape shape, std::uint32_t index);

// The parameters of that kind in a random order that is the same in each run, and no more than the limit.
std::vector<Access> readOrder(Shape shape, std::uint32_t size, Kind kind, std::uint32_t limit);
// The counters of a Strings tree, in such an order.
std::vector<Access> writeOrder(std::uint32_t size);
// All of a Strings tree, counters included, ascending by key.
std::vector<Access> contents(std::uint32_t size);

// The values that belong to a number. A floating-point one has a half, which the others have no room for.
std::string textOf(std::uint32_t value);
// Number of the override value of a parameter: always another value, also of a boolean.
constexpr std::uint32_t overrideOf(std::uint32_t value) {
  return value + 5'000'001;
}
template <class Value>
Value numberOf(std::uint32_t value) {
  return static_cast<Value>(value) + static_cast<Value>(0.5);
}
template <>
inline bool numberOf<bool>(std::uint32_t value) {
  return value % 2 != 0;
}

// Fills the store in use. Throws std::runtime_error with the path or name that could not be written.
void makeTree(Shape shape, std::uint32_t size);

// The tree of what is wide instead of large: parameters with few and with many override values, and
// topics with few and with many parameters, which are all empty.
inline constexpr std::uint32_t fewUsers = 3;
inline constexpr std::uint32_t fewChildren = 10;
inline constexpr const char16_t* wideTopic = u"Wide";
inline constexpr const char16_t* readFew = u"ReadFew";
inline constexpr const char16_t* readMany = u"ReadMany";
inline constexpr const char16_t* writeFew = u"WriteFew";
inline constexpr const char16_t* writeMany = u"WriteMany";
inline constexpr const char16_t* narrowWalk = u"NarrowWalk";
inline constexpr const char16_t* wideWalk = u"WideWalk";
std::u16string userAt(std::uint32_t index);   // its value is textOf(index)
std::u16string childAt(std::uint32_t index);  // a walk begins with that of index 0
// Fills the store in use, with that many where there are many. Throws as makeTree does.
void makeWideTree(std::uint32_t many);

// The full path of the topic's key.
std::u16string topicPath(const char16_t* topic);

}  // namespace bench
