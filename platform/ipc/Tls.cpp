#include "platform/ipc/Tls.h"

#include <openssl/err.h>

namespace ipc {

namespace {

bool failWith(std::string& detail, const std::string& what) {
  detail = what + ": " + takeSslReasons();
  return false;
}

bool load(SSL_CTX* context, const TlsFiles& files, std::string& detail) {
  if (files.certificate.empty() || files.key.empty() || files.authorities.empty()) {
    detail = "certificate, key and authorities must all be named";
    return false;
  }
  if (SSL_CTX_use_certificate_chain_file(context, files.certificate.c_str()) != 1) {
    return failWith(detail, files.certificate);
  }
  if (SSL_CTX_use_PrivateKey_file(context, files.key.c_str(), SSL_FILETYPE_PEM) != 1) {
    return failWith(detail, files.key);
  }
  if (SSL_CTX_load_verify_locations(context, files.authorities.c_str(), nullptr) != 1) {
    return failWith(detail, files.authorities);
  }
  return SSL_CTX_check_private_key(context) == 1 || failWith(detail, files.key);
}

}  // namespace

std::string takeSslReasons() {
  std::string reasons;
  while (const unsigned long code = ERR_get_error()) {
    const char* reason = ERR_reason_error_string(code);
    if (!reasons.empty()) reasons += ", ";
    reasons += reason != nullptr ? reason : "error " + std::to_string(code);
  }
  return reasons;
}

SslContext makeSslContext(const SSL_METHOD* method, const TlsFiles& files, std::string& detail) {
  ERR_clear_error();
  SslContext context(SSL_CTX_new(method));
  if (!context) {
    detail = takeSslReasons();
    return nullptr;
  }
  SSL_CTX_set_min_proto_version(context.get(), TLS1_3_VERSION);
  SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
  // Connections last; nothing is gained by resuming one, and tickets would be bytes that nobody asked for.
  SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
  SSL_CTX_set_num_tickets(context.get(), 0);
  if (!load(context.get(), files, detail)) return nullptr;
  return context;
}

}  // namespace ipc
