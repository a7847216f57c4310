// The connection of a parameter client to the parameter service.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/support/UnicodeString.h"

// One value of a key in the master's tree.
struct PropertyFeatures {
  UnicodeString propname;
  std::int32_t size = 0;  // bytes
  std::int32_t type = 0;  // type letter
  std::unique_ptr<std::uint8_t[]> data;
};

// What the parameter client asks of its connection. This library has no transport to a service yet: no
// connection comes about, so Init is false, the names are empty and every telegram is refused with the
// caller's error code untouched, as on any client that is not connected.
class SpSrvClntEx {
public:
  // Connects. False, with a trace, if that fails.
  bool Init(const char16_t* server);

  // Whether the service runs on this machine.
  bool IsSrvLocal() const { return false; }
  // Who the connection found this process to be.
  UnicodeString GetCurMachine() const { return {}; }
  UnicodeString GetUserLogged() const { return {}; }
  UnicodeString GetCurApplication() const { return {}; }

  // Telegrams; capacity and count in bytes.
  bool GetSpSrvPar(const char16_t* topic, const char16_t* par, void* value, std::uint16_t letter,
                   std::uint32_t capacity, const char16_t* workstation, const char16_t* user,
                   const char16_t* prcInstance, std::uint32_t* err, std::int32_t noErrMsg);
  bool SetSpSrvPar(const char16_t* topic, const char16_t* par, const void* value, std::uint16_t letter,
                   std::uint32_t count, const char16_t* workstation, const char16_t* user,
                   const char16_t* prcInstance, std::uint32_t* err);
  bool SetProperty(const UnicodeString& path, const PropertyFeatures& property, bool replace,
                   std::uint32_t* err);
};
