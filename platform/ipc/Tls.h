// What both ends of an encrypted connection need of OpenSSL.
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>

#include "platform/ipc/TlsFiles.h"

namespace ipc {

struct SslContextFree {
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
using SslContext = std::unique_ptr<SSL_CTX, SslContextFree>;

// TLS 1.3 alone, the other side's certificate required. Null with what is wrong where a file can't be read,
// or key and certificate do not match.
SslContext makeSslContext(const SSL_METHOD* method, const TlsFiles& files, std::string& detail);

// The reasons that wait in this thread's queue of OpenSSL, which is empty afterwards.
std::string takeSslReasons();

}  // namespace ipc
