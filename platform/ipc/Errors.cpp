#include "platform/ipc/Errors.h"

#include <algorithm>
#include <iterator>

namespace ipc {

namespace {

struct Text {
  std::int32_t code;
  const char16_t* text;
};

constexpr Text texts[] = {
    {noError, u"no error"},
    {badName, u"the name is neither a host nor an endpoint"},
    {badMode, u"unknown connection mode"},
    {unknownHost, u"the host is unknown"},
    {notListening, u"nobody listens there"},
    {accessDenied, u"the system denies access"},
    {unreachable, u"the host can't be reached"},
    {tlsFiles, u"the certificate files are missing or do not fit together"},
    {untrustedCertificate, u"the server's certificate is not from a trusted authority"},
    {expiredCertificate, u"the server's certificate is out of date"},
    {wrongCertificateName, u"the server's certificate is for another host"},
    {refusedCertificate, u"the server refused our certificate"},
    {tlsFailed, u"no encrypted connection came about"},
    {unknownVersion, u"the server speaks another version of the protocol"},
    {tooManyConnections, u"the server takes no more connections"},
    {notOpen, u"there is no connection"},
    {connectionLost, u"the connection was lost"},
    {timedOut, u"no answer in time"},
    {emptyTelegram, u"the telegram is empty or did not fit its buffer"},
    {telegramTooLarge, u"the telegram is larger than a frame"},
    {otherProcess, u"the connection belongs to the parent process"},
    {protocolError, u"what came is against the protocol"},
    {unknownService, u"the server has no such service"},
    {stopping, u"the server is stopping"},
    {badReply, u"the reply is no container of fields"},
    {noReply, u"there is no further reply"},
    {systemError, u"the system has no means left for a connection"},
};

}  // namespace

const char16_t* errorText(std::int32_t code) {
  if (code >= serviceErrors) return u"rejected by the service";
  const auto* found =
      std::find_if(std::begin(texts), std::end(texts), [code](const Text& t) { return t.code == code; });
  return found != std::end(texts) ? found->text : u"unknown error";
}

}  // namespace ipc
