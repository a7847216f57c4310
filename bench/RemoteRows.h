// The benchmarks of the parameter service. Names are WHO/WHAT, as in Rows.h.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "bench/Rows.h"
#include "bench/Server.h"

namespace bench {

// Where client and server run: both on one processor, or on two.
enum class Place : std::uint8_t { Same, Apart };

// The servers of one run, each started when the first benchmark asks for it and kept until the end.
class RemoteLab {
public:
  explicit RemoteLab(bool isQuick) : m_lab(isQuick) {}

  Lab& local() { return m_lab; }

  // The service on the Strings tree of that size; what it serves on is the two names that follow.
  void useService(std::uint32_t size, Place place);
  const std::string& endpoint() const { return m_endpoint; }  // of a Unix socket
  const std::string& tlsEndpoint() const { return m_tlsEndpoint; }

  // Their Unix sockets.
  const std::string& echo(Place place);
  const std::string& redis(Place place);
  const std::string& durableRedis();  // that syncs what was written before it answers, apart

private:
  struct Running {
    std::string socket;
    std::string tlsEndpoint;
    std::unique_ptr<Server> server;
  };
  Running& start(const std::string& name);
  const std::string& startRedis(const std::string& name, Place place, const std::vector<std::string>& more);
  const std::string& certificates();

  Lab m_lab;
  std::string m_directory;
  std::string m_certificates;
  std::string m_endpoint;
  std::string m_tlsEndpoint;
  std::map<std::string, Running> m_running;  // ends before the lab's directories go
};

void registerRemote(RemoteLab& lab);

}  // namespace bench
