// The numbers of what can go wrong with a connection, and their texts.
#pragma once

#include <cstdint>

#include "platform/support/api.h"

namespace ipc {

// Where a service's own codes begin: its rejection with code n reaches the caller as serviceErrors + n.
// All numbers below are the transport's.
inline constexpr std::int32_t serviceErrors = 0x30000000;

// Each says whether the connection is open after it. The numbers are part of the protocol and of what
// administrators know: a number once given keeps its meaning.
enum Error : std::int32_t {
  noError = 0,
  // Open fails with these; there is no connection.
  badName = 0x20000001,  // null, empty, or neither a host name nor an endpoint
  badMode,               // a connection mode other than the one there is
  unknownHost,           // the host's name has no address
  notListening,          // nobody listens at the endpoint
  accessDenied,          // the system does not let this user connect
  unreachable,           // no way to the host
  tlsFiles,              // own certificate, key or authorities are not named, not readable or do not match
  untrustedCertificate,  // the server's certificate comes from none of our authorities
  expiredCertificate,    // the server's certificate is not valid yet or any more
  wrongCertificateName,  // the server's certificate is for another host
  refusedCertificate,    // the server does not accept our certificate
  tlsFailed,             // no TLS comes about for any other reason
  unknownVersion,        // the server speaks another version of the protocol
  tooManyConnections,    // the server has all that it takes, in all or of this user
  // A request fails with these.
  notOpen,           // no connection: never opened, closed, or lost earlier
  connectionLost,    // the connection ended while it was in use; it is closed
  timedOut,          // no answer in time; open, unless only part of the request could be sent
  emptyTelegram,     // no data, as after an overflow of the container; nothing was sent, open
  telegramTooLarge,  // more than a frame takes; nothing was sent, open
  otherProcess,      // the connection belongs to the process that this one was forked from; it is closed here
  protocolError,     // bytes that are no frame, or a frame where it must not be; it is closed
  unknownService,    // the server has no service of that number; open
  stopping,          // the server is ending and takes no more requests
  badReply,          // a reply that is no container; open
  noReply,           // there is no reply, or no further one; open
  systemError,       // memory, descriptors or another means of this process is exhausted
};

// A sentence without full stop in English, for traces and messages. Never null; a service's code gives
// "rejected by the service".
SPS_API const char16_t* errorText(std::int32_t code);

}  // namespace ipc
