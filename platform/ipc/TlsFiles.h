// The files that prove to others who we are, and to us who they are.
#pragma once

#include <string>

namespace ipc {

// Paths of files in PEM form. The certificate file may hold the chain behind the certificate.
struct TlsFiles {
  std::string certificate;
  std::string key;
  std::string authorities;  // who signs the certificates that we trust
};

}  // namespace ipc
