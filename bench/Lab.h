// What the benchmarks of one run share: the trees in a temporary directory, each made when the first
// benchmark asks for it, and the peers.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "bench/DconfPeer.h"
#include "bench/LmdbPeer.h"
#include "bench/SqlitePeer.h"
#include "bench/Tree.h"

namespace bench {

inline constexpr std::uint32_t thousand = 1'000;
inline constexpr std::uint32_t hundredThousand = 100'000;
inline constexpr std::uint32_t million = 1'000'000;

// All of it throws std::runtime_error where a tree cannot be made. One thread.
class Lab {
public:
  // A quick run makes small trees only: it shows that the benchmarks work, its times mean nothing.
  explicit Lab(bool isQuick);
  ~Lab();
  Lab(const Lab&) = delete;
  Lab& operator=(const Lab&) = delete;

  bool isQuick() const { return m_isQuick; }
  // The size that stands for the one named in this run.
  std::uint32_t scaled(std::uint32_t size) const;

  // Make the store in use the one with that tree, and return its directory. Sizes are those named.
  const std::string& useTree(Shape shape, std::uint32_t size);
  const std::string& useWideTree();
  // The store of that name, which is filled when it is used for the first time.
  const std::string& useStore(const std::string& name, const std::function<void()>& fill);
  // One without any tree, for a benchmark that makes its own and deletes it.
  const std::string& useEmptyStore();

  // A new directory for whatever else a benchmark needs; it goes with the lab.
  std::string makeDirectory(const std::string& name);

  // The peer with the Strings tree of that size.
  template <class Peer>
  Peer& peer(std::uint32_t size);

  // Valid as long as the lab. As the functions of the same name in Tree.h.
  const std::vector<Access>& readOrder(Shape shape, std::uint32_t size, Kind kind, std::uint32_t limit);
  const std::vector<Access>& writeOrder(std::uint32_t size);

  // False where the same benchmark ran last, so that all it needs is warm.
  bool enter(const std::string& benchmark);

private:
  template <class Make>
  const std::vector<Access>& order(const std::string& name, const Make& make);

  bool m_isQuick;
  std::string m_directory;
  std::string m_benchmark;
  std::string m_storeInUse;
  std::map<std::string, std::string> m_stores;  // name and directory
  std::map<std::string, std::vector<Access>> m_orders;
  template <class Peer>
  using Peers = std::map<std::uint32_t, std::unique_ptr<Peer>>;
  std::tuple<Peers<DconfPeer>, Peers<LmdbPeer>, Peers<SqlitePeer>> m_peers;
};

template <class Peer>
Peer& Lab::peer(std::uint32_t size) {
  std::unique_ptr<Peer>& peer = std::get<Peers<Peer>>(m_peers)[size];
  if (!peer) {
    peer = std::make_unique<Peer>(makeDirectory(Peer::name + std::to_string(size)), scaled(size));
  }
  return *peer;
}

}  // namespace bench
