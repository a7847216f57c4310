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
  badName = 0x20000001,       // null, empty, or neither a host name nor an endpoint
  badMode = 0x20000002,       // a connection mode other than the one there is
  unknownHost = 0x20000003,   // the host's name has no address
  notListening = 0x20000004,  // nobody listens at the endpoint
  accessDenied = 0x20000005,  // the system does not let this user connect
  unreachable = 0x20000006,   // no way to the host
  tlsFiles = 0x20000007,  // own certificate, key or authorities are not named, not readable or do not match
  untrustedCertificate = 0x20000008,  // the server's certificate comes from none of our authorities
  expiredCertificate = 0x20000009,    // the server's certificate is not valid yet or any more
  wrongCertificateName = 0x2000000A,  // the server's certificate is for another host
  refusedCertificate = 0x2000000B,    // the server does not accept our certificate
  tlsFailed = 0x2000000C,             // no TLS comes about for any other reason
  unknownVersion = 0x2000000D,        // the server speaks another version of the protocol
  tooManyConnections = 0x2000000E,    // the server has all that it takes, in all or of this user
  // A request fails with these, Open also with connectionLost, timedOut, protocolError, stopping and
  // systemError.
  notOpen = 0x2000000F,         // no connection: never opened, closed, or lost earlier
  connectionLost = 0x20000010,  // the connection ended while it was in use; it is closed
  timedOut = 0x20000011,  // no answer in time; open, unless part of the request or of the replies is missing
  emptyTelegram = 0x20000012,     // no data, as after an overflow of the container; nothing was sent, open
  telegramTooLarge = 0x20000013,  // more than a frame takes; nothing was sent, open
  otherProcess = 0x20000014,      // the connection is the parent process's; it is closed here
  protocolError = 0x20000015,     // bytes that are no frame, or a frame where it must not be; it is closed
  unknownService = 0x20000016,    // the server has no service of that number; open
  stopping = 0x20000017,          // the server is ending and takes no more requests
  badReply = 0x20000018,          // a reply that is no container; closed
  noReply = 0x20000019,           // there is no reply, or no further one; open
  systemError = 0x2000001A,       // memory, descriptors or another means of this process is exhausted
};

// A sentence without full stop in English, for traces and messages. Never null; a service's code gives
// "rejected by the service".
SPS_API const char16_t* errorText(std::int32_t code);

}  // namespace ipc
