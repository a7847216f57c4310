// The client's encrypted stream, all that libsps_tls is made of beside what it shares with both ends.
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "platform/ipc/Errors.h"
#include "platform/ipc/Stream.h"
#include "platform/ipc/Tls.h"
#include "platform/support/api.h"

namespace ipc {

namespace {

struct SslFree {
  void operator()(SSL* ssl) const { SSL_free(ssl); }
};
struct BioMethodFree {
  void operator()(BIO_METHOD* method) const { BIO_meth_free(method); }
};

// Below OpenSSL lies our own socket: with its deadline, and without the signal that OpenSSL's would raise.
class TlsStream : public Stream {
public:
  explicit TlsStream(Socket& socket) : m_socket(std::move(socket)) {}

  // Nothing else is called before this gave noError.
  std::int32_t shakeHands(SSL_CTX* context, const std::string& host, Deadline& deadline, std::string& detail);

  std::int32_t send(std::span<const std::uint8_t> header, std::span<const std::uint8_t> payload,
                    Deadline& deadline) override;
  bool isWhole() const override { return m_whole; }
  std::int32_t receive(std::span<std::uint8_t> room, std::size_t& got, Deadline& deadline) override;
  const Socket& socket() const override { return m_socket; }

private:
  static const BIO_METHOD* bioMethod();
  static TlsStream& of(BIO* bio) { return *static_cast<TlsStream*>(BIO_get_data(bio)); }
  static int write(BIO* bio, const char* bytes, std::size_t count, std::size_t* written);
  static int read(BIO* bio, char* bytes, std::size_t count, std::size_t* got);

  bool setHost(const std::string& host);
  std::int32_t lastError(int result, std::string* detail);

  Socket m_socket;
  std::unique_ptr<SSL, SslFree> m_ssl;
  Deadline* m_deadline = nullptr;        // of the operation that runs
  std::int32_t m_socketError = noError;  // what it met below OpenSSL
  bool m_whole = true;
  std::vector<std::uint8_t> m_output;  // a frame, so that it goes out as one record
};

int TlsStream::write(BIO* bio, const char* bytes, std::size_t count, std::size_t* written) {
  TlsStream& self = of(bio);
  BIO_clear_retry_flags(bio);
  iovec vector{const_cast<char*>(bytes), count};  // NOLINT: the system only reads it
  self.m_socketError = self.m_socket.send({&vector, 1}, *written, *self.m_deadline);
  return self.m_socketError == noError ? 1 : 0;
}

int TlsStream::read(BIO* bio, char* bytes, std::size_t count, std::size_t* got) {
  TlsStream& self = of(bio);
  BIO_clear_retry_flags(bio);
  self.m_socketError =
      self.m_socket.receive({reinterpret_cast<std::uint8_t*>(bytes), count}, *got, *self.m_deadline);
  // After a time-out the stream may be read on.
  if (self.m_socketError == timedOut) BIO_set_retry_read(bio);
  return self.m_socketError == noError ? 1 : 0;
}

const BIO_METHOD* TlsStream::bioMethod() {
  static const std::unique_ptr<BIO_METHOD, BioMethodFree> method = [] {
    BIO_METHOD* made = BIO_meth_new(BIO_TYPE_SOURCE_SINK | BIO_get_new_index(), "socket with deadline");
    BIO_meth_set_write_ex(made, &TlsStream::write);
    BIO_meth_set_read_ex(made, &TlsStream::read);
    BIO_meth_set_ctrl(
        made, [](BIO*, int command, long, void*) -> long { return command == BIO_CTRL_FLUSH ? 1 : 0; });
    return std::unique_ptr<BIO_METHOD, BioMethodFree>(made);
  }();
  return method.get();
}

// An address is looked for among the certificate's addresses, a name among its names.
bool TlsStream::setHost(const std::string& host) {
  X509_VERIFY_PARAM* parameters = SSL_get0_param(m_ssl.get());
  if (X509_VERIFY_PARAM_set1_ip_asc(parameters, host.c_str()) == 1) return true;
  ERR_clear_error();
  SSL_set_hostflags(m_ssl.get(), X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS | X509_CHECK_FLAG_NEVER_CHECK_SUBJECT);
  return SSL_set1_host(m_ssl.get(), host.c_str()) == 1 &&
         SSL_set_tlsext_host_name(m_ssl.get(), host.c_str()) == 1;
}

std::int32_t TlsStream::shakeHands(SSL_CTX* context, const std::string& host, Deadline& deadline,
                                   std::string& detail) {
  ERR_clear_error();
  m_ssl.reset(SSL_new(context));
  BIO* bio = BIO_new(bioMethod());
  if (!m_ssl || bio == nullptr || !setHost(host)) {
    BIO_free(bio);
    return systemError;
  }
  BIO_set_data(bio, this);
  BIO_set_init(bio, 1);
  SSL_set_bio(m_ssl.get(), bio, bio);
  m_deadline = &deadline;
  const int result = SSL_connect(m_ssl.get());
  return result == 1 ? noError : lastError(result, &detail);
}

std::int32_t certificateError(long verdict) {
  switch (verdict) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
    case X509_V_ERR_CERT_NOT_YET_VALID:
      return expiredCertificate;
    case X509_V_ERR_HOSTNAME_MISMATCH:
    case X509_V_ERR_IP_ADDRESS_MISMATCH:
      return wrongCertificateName;
    default:
      return untrustedCertificate;
  }
}

// What the peer says of our certificate when it ends the connection.
bool isRefusal(unsigned long code) {
  switch (ERR_GET_REASON(code)) {
    case SSL_R_TLSV1_ALERT_UNKNOWN_CA:
    case SSL_R_TLSV1_ALERT_ACCESS_DENIED:
    case SSL_R_SSLV3_ALERT_BAD_CERTIFICATE:
    case SSL_R_SSLV3_ALERT_UNSUPPORTED_CERTIFICATE:
    case SSL_R_SSLV3_ALERT_CERTIFICATE_REVOKED:
    case SSL_R_SSLV3_ALERT_CERTIFICATE_EXPIRED:
    case SSL_R_SSLV3_ALERT_CERTIFICATE_UNKNOWN:
    case SSL_R_TLSV13_ALERT_CERTIFICATE_REQUIRED:
      return ERR_GET_LIB(code) == ERR_LIB_SSL;
    default:
      return false;
  }
}

// The one place where OpenSSL's results become errors of ours.
std::int32_t TlsStream::lastError(int result, std::string* detail) {
  const int kind = SSL_get_error(m_ssl.get(), result);
  const unsigned long code = ERR_peek_error();
  std::string reasons = takeSslReasons();
  if (kind == SSL_ERROR_WANT_READ || kind == SSL_ERROR_WANT_WRITE) return m_socketError;
  if (m_socketError == timedOut) return timedOut;
  if (kind == SSL_ERROR_ZERO_RETURN || code == 0 || m_socketError != noError) return connectionLost;
  if (detail != nullptr) *detail = std::move(reasons);
  if (isRefusal(code)) return refusedCertificate;
  if (SSL_is_init_finished(m_ssl.get()) == 1) return connectionLost;
  const long verdict = SSL_get_verify_result(m_ssl.get());
  if (verdict == X509_V_OK) return tlsFailed;
  if (detail != nullptr) *detail = X509_verify_cert_error_string(verdict);
  return certificateError(verdict);
}

std::int32_t TlsStream::send(std::span<const std::uint8_t> header, std::span<const std::uint8_t> payload,
                             Deadline& deadline) {
  m_output.assign(header.begin(), header.end());
  m_output.insert(m_output.end(), payload.begin(), payload.end());
  m_deadline = &deadline;
  m_socketError = noError;
  ERR_clear_error();
  // A record that went out in part can't be taken back, and none is begun that may not be tried again.
  m_whole = false;
  const int result = SSL_write(m_ssl.get(), m_output.data(), static_cast<int>(m_output.size()));
  m_whole = result > 0;
  return m_whole ? noError : lastError(result, nullptr);
}

std::int32_t TlsStream::receive(std::span<std::uint8_t> room, std::size_t& got, Deadline& deadline) {
  m_deadline = &deadline;
  m_socketError = noError;
  ERR_clear_error();
  const auto most = std::min<std::size_t>(room.size(), std::numeric_limits<int>::max());
  const int result = SSL_read(m_ssl.get(), room.data(), static_cast<int>(most));
  got = result > 0 ? static_cast<std::size_t>(result) : 0;
  return result > 0 ? noError : lastError(result, nullptr);
}

std::string fromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

}  // namespace

extern "C" SPS_API Stream* sps_ipc_open_tls(Socket& socket, const std::string& host, Deadline& deadline,
                                            std::int32_t& error, std::string& detail) {
  const TlsFiles files{fromEnvironment("SPS_TLS_CERT"), fromEnvironment("SPS_TLS_KEY"),
                       fromEnvironment("SPS_TLS_CA")};
  const SslContext context = makeSslContext(TLS_client_method(), files, detail);
  error = tlsFiles;
  if (!context) return nullptr;
  auto stream = std::make_unique<TlsStream>(socket);
  error = stream->shakeHands(context.get(), host, deadline, detail);
  return error == noError ? stream.release() : nullptr;
}

}  // namespace ipc
