// What the system and a certificate tell about a peer.
#pragma once

#include <openssl/ssl.h>

#include <optional>
#include <string>

#include "platform/ipc/Endpoint.h"
#include "platform/ipc/IpcServer.h"

namespace ipc {

// The peer of a connected socket, as far as the socket itself proves it: whole for a Unix one, the address
// alone for others. Nothing where the connection is gone already.
std::optional<Peer> identify(int descriptor, Endpoint::Kind kind);

// The certificate's first subject alternative name that is a DNS name, a mail address or a URI; empty where
// there is none, or one with a zero in it.
std::string certificateName(const SSL* ssl);

}  // namespace ipc
