#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "bench/Process.h"
#include "bench/RemoteRows.h"

namespace bench {

namespace {

int processorOf(Place place) {
  return place == Place::Same ? 0 : 1 % processorCount();
}

std::string nameOf(Place place) {
  return place == Place::Same ? "same" : "apart";
}

// What the service said of itself when it began: the port that it got is in there.
std::string tlsEndpointIn(const std::string& log) {
  using namespace std::chrono_literals;
  const std::string mark = "tls://127.0.0.1:";
  for (int tries = 0; tries < 1000; ++tries) {
    std::ifstream file(log);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    if (const auto at = text.find(mark); at != std::string::npos) {
      return text.substr(at, text.find_first_not_of("0123456789", at + mark.size()) - at);
    }
    std::this_thread::sleep_for(5ms);
  }
  throw std::runtime_error("the service does not say its port");
}

}  // namespace

const std::string& RemoteLab::certificates() {
  if (m_certificates.empty()) {
    m_certificates = m_lab.makeDirectory("certificates");
    outputOf(std::string(SPS_CERTIFICATES) + ' ' + quoted(m_certificates));
    ::setenv("SPS_TLS_CERT", (m_certificates + "/client.pem").c_str(), 1);
    ::setenv("SPS_TLS_KEY", (m_certificates + "/client.key").c_str(), 1);
    ::setenv("SPS_TLS_CA", (m_certificates + "/trusted.pem").c_str(), 1);
  }
  return m_certificates;
}

RemoteLab::Running& RemoteLab::start(const std::string& name) {
  if (m_directory.empty()) m_directory = m_lab.makeDirectory("servers");
  Running& running = m_running[name];
  running.socket = m_directory + '/' + name;
  return running;
}

void RemoteLab::useService(std::uint32_t size, Place place) {
  const std::string name = "sps" + std::to_string(size) + nameOf(place);
  Running& running = start(name);
  if (!running.server) {
    const std::string store = m_lab.useTree(Shape::Strings, size);
    const std::string& files = certificates();
    const std::string log = running.socket + ".log";
    const std::vector<std::string> command{"env",
                                           "SPS_TRACE=file:" + log,
                                           "SPS_TRACE_LEVEL=I0",
                                           SPS_SPSD,
                                           "--listen",
                                           "unix:" + running.socket,
                                           "--listen",
                                           "tls://127.0.0.1:0",
                                           "--store",
                                           store,
                                           "--allow-read",
                                           "*",
                                           "--tls-cert",
                                           files + "/server.pem",
                                           "--tls-key",
                                           files + "/server.key",
                                           "--tls-ca",
                                           files + "/trusted.pem"};
    running.server = std::make_unique<Server>(command, running.socket, processorOf(place));
    running.tlsEndpoint = tlsEndpointIn(log);
  }
  m_endpoint = "unix:" + running.socket;
  m_tlsEndpoint = running.tlsEndpoint;
}

const std::string& RemoteLab::echo(Place place) {
  Running& running = start("echo" + nameOf(place));
  if (!running.server) {
    const std::vector<std::string> command{SPS_ECHO_SERVER, running.socket};
    running.server = std::make_unique<Server>(command, running.socket, processorOf(place));
  }
  return running.socket;
}

const std::string& RemoteLab::redis(Place place) {
  return startRedis("redis" + nameOf(place), place, {});
}

const std::string& RemoteLab::durableRedis() {
  return startRedis(
      "redis-durable", Place::Apart,
      {"--dir", m_lab.makeDirectory("redis"), "--appendonly", "yes", "--appendfsync", "always"});
}

const std::string& RemoteLab::startRedis(const std::string& name, Place place,
                                         const std::vector<std::string>& more) {
  Running& running = start(name);
  if (!running.server) {
    std::vector<std::string> command{"redis-server", "--port",       "0",           "--save", "",
                                     "--unixsocket", running.socket, "--daemonize", "no"};
    command.insert(command.end(), more.begin(), more.end());
    running.server = std::make_unique<Server>(command, running.socket, processorOf(place));
  }
  return running.socket;
}

}  // namespace bench
