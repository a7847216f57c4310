// spsd, the parameter service as a daemon.
#include <pthread.h>
#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <stdexcept>

#include "platform/ipc/Endpoint.h"
#include "platform/registry/RegistryStore.h"
#include "platform/support/StandardStreams.h"
#include "platform/support/Trace.h"
#include "service/Options.h"
#include "service/SystemNotice.h"
#include "service/Upkeep.h"

namespace {

using service::Options;

constexpr int wrongUsage = 2;

class StartError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

void addSink(const std::string& name) {
  trace::Sink sink;
  if (name.starts_with(service::fileSink)) {
    sink = trace::fileSink(name.substr(service::fileSink.size()));
    if (!sink) throw StartError("--log " + name + ": " + std::strerror(errno));
  } else {
    sink = name == "syslog" ? trace::syslogSink() : trace::stderrSink();
  }
  // A daemon says when it begins and ends.
  constexpr trace::Levels levels{.plain = u'I', .backTrace = 0};
  trace::addSink(std::move(sink), levels);
}

void openLog(const Options& options) {
  for (const std::string& name : options.log) addSink(name);
  if (options.log.empty() && !std::getenv("SPS_TRACE")) addSink("stderr");
}

// A store without a tree gets its root and the process space, so that it can be listed and exported.
void openStore(const Options& options) {
  if (!options.store.empty()) registry::useStore(options.store);
  const service::Tree tree(options.settings.space);
  service::Node space;
  if (!space.Init(tree.GetRootName() + u"\\" + tree.GetPrcSpaceName(), true, false)) {
    throw StartError("the store in " + registry::storeDirectory() + " can't be used: error " +
                     std::to_string(space.GetRetCode()));
  }
}

std::string auditPath(const Options& options) {
  if (options.audit == "none") return {};
  return options.audit.empty() ? registry::storeDirectory() + "/audit.jsonl" : options.audit;
}

void openEndpoints(ipc::IpcServer& server, const Options& options) {
  if (!options.tls.certificate.empty()) server.useTls(options.tls);
  const std::vector<int> inherited = ipc::IpcServer::inheritedSockets();
  for (const int socket : inherited) server.adopt(socket);
  for (const std::string& endpoint : options.listen) server.listen(endpoint, options.socketMode);
  if (inherited.empty() && options.listen.empty()) {
    server.listen(std::string(ipc::defaultEndpoint), options.socketMode);
  }
}

void announce(const ipc::IpcServer& server) {
  std::string list;
  for (const std::string& endpoint : server.endpoints()) list += ' ' + endpoint;
  _DbgSetLine(u"service\\main", __LINE__, u'I');
  _DbgOut(u"Listening on%s", UnicodeString(list.c_str()));
  service::notifyManager("READY=1\nSTATUS=Listening on" + list);
}

// These reach the daemon at one place alone, and not while anything else is under way.
sigset_t blockSignals() {
  sigset_t signals;
  ::sigemptyset(&signals);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) ::sigaddset(&signals, signal);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  (void)std::signal(SIGPIPE, SIG_IGN);
  return signals;
}

// A session's usual limit of open files is below what --max-connections allows.
void raiseFileLimit() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= limit.rlim_max) return;
  limit.rlim_cur = limit.rlim_max;
  (void)::setrlimit(RLIMIT_NOFILE, &limit);
}

void reopenAudit(service::AuditLog& audit) {
  if (audit.Open()) return;
  const int reason = errno;
  _DbgSetLine(u"service\\main", __LINE__, u'E');
  _DbgOut(u"The audit file can't be opened anew: error %d", reason);
}

// Certificates end before daemons do.
void renewTls(ipc::IpcServer& server, const ipc::TlsFiles& files) try {
  if (!files.certificate.empty()) server.useTls(files);
} catch (const ipc::ServerError& problem) {
  _DbgSetLine(u"service\\main", __LINE__, u'E');
  _DbgOut(u"The TLS files can't be taken up anew: %s", UnicodeString(problem.what()));
}

// Returns when the daemon is to end.
void waitForEnd(const sigset_t& signals, service::AuditLog& audit, ipc::IpcServer& server,
                const Options& options) {
  for (;;) {
    int signal = 0;
    ::sigwait(&signals, &signal);
    if (signal != SIGHUP) return;
    reopenAudit(audit);
    renewTls(server, options.tls);
  }
}

// False where the process has to end at once, since a copy of the store is still being made.
bool run(const Options& options) {
  const sigset_t signals = blockSignals();
  raiseFileLimit();
  openLog(options);
  openStore(options);
  service::AuditLog audit(auditPath(options));
  if (!audit.Open()) throw StartError("the audit file " + auditPath(options) + ": " + std::strerror(errno));

  service::ParameterService parameters(options.settings, audit);
  ipc::IpcServer server(options.limits, options.threads);
  server.addService(telegram::serviceNumber, parameters);
  openEndpoints(server, options);
  server.start();
  service::Upkeep upkeep({options.snapshotDirectory, options.snapshotEvery, options.snapshotsKept},
                         [&parameters] { parameters.EveryMinute(); });
  announce(server);
  waitForEnd(signals, audit, server, options);
  service::notifyManager("STOPPING=1");
  // Changes under way have the writer until each is answered or the time for it is up.
  server.stop();
  parameters.Stop();
  const bool isDone = upkeep.Stop();
  _DbgSetLine(u"service\\main", __LINE__, u'I');
  _DbgOut(u"Ended");
  return isDone;
}

int start(int count, char** arguments) {
  const Options options = service::parseOptions(count, arguments);
  switch (options.answer) {
    case Options::Answer::Help:
      (void)std::fputs(service::helpText().c_str(), stdout);
      return EXIT_SUCCESS;
    case Options::Answer::Version:
      (void)std::printf("spsd %u.%u.%u\n", SpcGetVersion() >> 24U, SpcGetVersion() >> 16U & 0xFFU,
                        SpcGetVersion() & 0xFFFFU);
      return EXIT_SUCCESS;
    case Options::Answer::Wrong:
      (void)std::fprintf(stderr, "spsd: %s\nspsd: usage: spsd --help\n", options.problem.c_str());
      return wrongUsage;
    default:
      if (!run(options)) std::_Exit(EXIT_SUCCESS);
      return EXIT_SUCCESS;
  }
}

}  // namespace

int main(int count, char** arguments) {
  support::reserveStandardStreams();
  try {
    return start(count, arguments);
  } catch (const std::exception& problem) {
    (void)std::fprintf(stderr, "spsd: %s\n", problem.what());
  }
  return EXIT_FAILURE;
}
