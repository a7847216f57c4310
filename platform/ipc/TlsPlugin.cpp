#include <dlfcn.h>

#include <string>
#include <utility>

#include "platform/ipc/Errors.h"
#include "platform/ipc/Stream.h"
#include "platform/support/api.h"

namespace ipc {

// Null in a program that does not bring it along.
extern "C" SPS_API __attribute__((weak)) OpenTls sps_ipc_open_tls;

namespace {

constexpr const char* libraryName = SPS_TLS_LIBRARY;
constexpr const char* functionName = "sps_ipc_open_tls";

// Beside this library, so that the two are of one version wherever they are installed.
std::string pathBeside() {
  Dl_info info{};
  if (::dladdr(reinterpret_cast<const void*>(&makeTlsStream), &info) == 0 || info.dli_fname == nullptr)
    return {};
  const std::string own = info.dli_fname;
  const std::size_t slash = own.rfind('/');
  return slash == std::string::npos ? std::string() : own.substr(0, slash + 1) + libraryName;
}

OpenTls* load() {
  void* library = ::dlopen(pathBeside().c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) library = ::dlopen(libraryName, RTLD_NOW | RTLD_LOCAL);
  return library != nullptr ? reinterpret_cast<OpenTls*>(::dlsym(library, functionName)) : nullptr;
}

OpenTls* function() {
  if (sps_ipc_open_tls != nullptr) return sps_ipc_open_tls;
  static OpenTls* const loaded = load();
  return loaded;
}

}  // namespace

std::unique_ptr<Stream> makeTlsStream(Socket socket, const std::string& host, Deadline& deadline,
                                      std::int32_t& error, std::string& detail) {
  OpenTls* open = function();
  if (open != nullptr) return std::unique_ptr<Stream>(open(socket, host, deadline, error, detail));
  error = tlsFailed;
  detail = std::string("the library ") + libraryName + " can't be loaded";
  return nullptr;
}

}  // namespace ipc
