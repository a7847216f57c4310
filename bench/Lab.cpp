#include "bench/Lab.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "platform/registry/RegistryStore.h"

namespace bench {

namespace {

constexpr std::uint32_t quickSize = 2'000;

std::string makeTemporaryDirectory() {
  std::string path =
      std::filesystem::absolute(std::filesystem::temp_directory_path() / "bench-XXXXXX").string();
  if (!mkdtemp(path.data())) throw std::runtime_error("cannot make " + path);
  return path;
}

std::string nameOf(Shape shape, std::uint32_t size) {
  return (shape == Shape::Strings ? "strings" : "mixed") + std::to_string(size);
}

}  // namespace

Lab::Lab(bool isQuick) : m_isQuick(isQuick), m_directory(makeTemporaryDirectory()) {}

Lab::~Lab() {
  std::error_code ignored;
  std::filesystem::remove_all(m_directory, ignored);
}

std::uint32_t Lab::scaled(std::uint32_t size) const {
  return m_isQuick ? std::min(size, quickSize) : size;
}

std::string Lab::makeDirectory(const std::string& name) {
  std::fprintf(stderr, "making %s\n", name.c_str());
  std::string path = m_directory + "/" + name;
  std::filesystem::create_directory(path);
  return path;
}

const std::string& Lab::useStore(const std::string& name, const std::function<void()>& fill) {
  const auto [place, isNew] = m_stores.try_emplace(name);
  if (isNew) place->second = makeDirectory(name);
  if (m_storeInUse != name) registry::useStore(place->second);
  m_storeInUse = name;
  if (isNew) fill();
  return place->second;
}

const std::string& Lab::useTree(Shape shape, std::uint32_t size) {
  return useStore(nameOf(shape, size), [&] { makeTree(shape, scaled(size)); });
}

const std::string& Lab::useWideTree() {
  return useStore("wide", [&] { makeWideTree(scaled(hundredThousand)); });
}

const std::string& Lab::useEmptyStore() {
  return useStore("empty", [] {});
}

template <class Make>
const std::vector<Access>& Lab::order(const std::string& name, const Make& make) {
  const auto [place, isNew] = m_orders.try_emplace(name);
  if (isNew) place->second = make();
  return place->second;
}

const std::vector<Access>& Lab::readOrder(Shape shape, std::uint32_t size, Kind kind, std::uint32_t limit) {
  const std::string name = nameOf(shape, size) + kind.letter + std::to_string(kind.isOverridden) + "-" +
                           std::to_string(scaled(limit));
  return order(name, [&] { return bench::readOrder(shape, scaled(size), kind, scaled(limit)); });
}

const std::vector<Access>& Lab::writeOrder(std::uint32_t size) {
  return order("write" + std::to_string(size), [&] { return bench::writeOrder(scaled(size)); });
}

bool Lab::enter(const std::string& benchmark) {
  if (m_benchmark == benchmark) return false;
  m_benchmark = benchmark;
  return true;
}

}  // namespace bench
