// The registry: one tree of keys with typed values, shared by every process of this machine and durable
// at each return. Names, argument orders, result numbers and constants are those that the library's
// node is written against.
//
// All functions return 0 or an error number and never throw. Names are case-insensitive, keep the case
// in which they were made, and are 16-bit strings; a key name has 1 to 255 characters without a
// backslash, a value name up to 16,383, a value's data up to 16 MiB, and a tree has up to 512 levels.
// What exceeds these gives ERROR_INVALID_PARAMETER; a path to open of more levels ERROR_FILE_NOT_FOUND.
// Counts of text are characters, counts of data are bytes. Any thread may use any handle. A handle on a key
// that was deleted gives ERROR_KEY_DELETED, a closed one ERROR_INVALID_HANDLE.
//
// A read sees every write that was acknowledged before it began, by any process. A write is on disk
// when its function returns 0 (inside a RegistryTransaction: when that is committed).
#pragma once

#include <cstdint>

#include "platform/support/SecurityAttributes.h"
#include "platform/support/api.h"

using BYTE = std::uint8_t;
using DWORD = std::uint32_t;
using LSTATUS = std::int32_t;
using REGSAM = std::uint32_t;
using HKEY = std::uint32_t;

// 100-nanosecond steps since 1601-01-01 UTC, in two halves.
struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};

// The hives: always open, never closed, never deleted.
inline constexpr HKEY HKEY_CLASSES_ROOT = 0x80000000;
inline constexpr HKEY HKEY_CURRENT_USER = 0x80000001;
inline constexpr HKEY HKEY_LOCAL_MACHINE = 0x80000002;
inline constexpr HKEY HKEY_USERS = 0x80000003;

inline constexpr LSTATUS ERROR_SUCCESS = 0;
inline constexpr LSTATUS ERROR_FILE_NOT_FOUND = 2;  // key or value is not there
inline constexpr LSTATUS ERROR_ACCESS_DENIED = 5;   // rights, or a key that has sub keys
inline constexpr LSTATUS ERROR_INVALID_HANDLE = 6;  // never opened, or closed
inline constexpr LSTATUS ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr LSTATUS ERROR_INVALID_PARAMETER = 87;     // null where a pointer is due, name too long
inline constexpr LSTATUS ERROR_DISK_FULL = 112;            // nothing of the write was kept
inline constexpr LSTATUS ERROR_BAD_PATHNAME = 161;         // a path that begins with a backslash
inline constexpr LSTATUS ERROR_MORE_DATA = 234;            // the buffer is too small
inline constexpr LSTATUS ERROR_NO_MORE_ITEMS = 259;        // end of an enumeration
inline constexpr LSTATUS ERROR_REGISTRY_CORRUPT = 1015;    // the store is damaged
inline constexpr LSTATUS ERROR_REGISTRY_IO_FAILED = 1016;  // the store cannot be read or written
inline constexpr LSTATUS ERROR_NOT_REGISTRY_FILE = 1017;   // the file is not a store
inline constexpr LSTATUS ERROR_KEY_DELETED = 1018;
inline constexpr LSTATUS ERROR_KEY_HAS_CHILDREN = 1020;
inline constexpr LSTATUS ERROR_CHILD_MUST_BE_VOLATILE = 1021;
inline constexpr LSTATUS ERROR_REVISION_MISMATCH = 1306;    // a store of another format version
inline constexpr LSTATUS ERROR_NO_SYSTEM_RESOURCES = 1450;  // 65,535 open keys, 4,096 readers, descriptors

inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_EXPAND_SZ = 2;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr DWORD REG_DWORD_BIG_ENDIAN = 5;
inline constexpr DWORD REG_LINK = 6;
inline constexpr DWORD REG_MULTI_SZ = 7;
inline constexpr DWORD REG_QWORD = 11;

inline constexpr REGSAM KEY_QUERY_VALUE = 0x0001;
inline constexpr REGSAM KEY_SET_VALUE = 0x0002;
inline constexpr REGSAM KEY_CREATE_SUB_KEY = 0x0004;
inline constexpr REGSAM KEY_ENUMERATE_SUB_KEYS = 0x0008;
inline constexpr REGSAM KEY_DELETE = 0x00010000;
inline constexpr REGSAM KEY_READ = 0x00020019;
inline constexpr REGSAM KEY_WRITE = 0x00020006;
inline constexpr REGSAM KEY_ALL_ACCESS = 0x000F003F;
inline constexpr REGSAM MAXIMUM_ALLOWED = 0x02000000;  // every right that the store grants

inline constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
inline constexpr DWORD REG_OPTION_VOLATILE = 1;  // the key ends with the machine's next boot
inline constexpr DWORD REG_CREATED_NEW_KEY = 1;
inline constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

// Opens the key at the path below another key; components are separated by backslashes, several in a
// row counting as one. A null or empty path opens the key itself anew. On failure the handle is set to 0. The
// handle is to be closed with RegCloseKey.
SPS_API LSTATUS RegOpenKeyExW(HKEY key, const char16_t* path, DWORD options, REGSAM rights, HKEY* result);

// Opens the key, making it and every missing level above it. The options count for a new key only. A
// key that is not volatile below one that is gives ERROR_CHILD_MUST_BE_VOLATILE. The disposition (may
// be null) says whether the last level was new. Nothing is made on failure.
SPS_API LSTATUS RegCreateKeyExW(HKEY key, const char16_t* path, DWORD reserved, const char16_t* keyClass,
                                DWORD options, REGSAM rights, const SECURITY_ATTRIBUTES* security,
                                HKEY* result, DWORD* disposition);

SPS_API LSTATUS RegCloseKey(HKEY key);

// Counts and maxima of the key, as of this call; each out pointer may be null. Name lengths are
// characters without terminator, the largest data is bytes. The class is always empty.
SPS_API LSTATUS RegQueryInfoKeyW(HKEY key, char16_t* keyClass, DWORD* classSize, DWORD* reserved,
                                 DWORD* subKeys, DWORD* maxSubKeyLen, DWORD* maxClassLen, DWORD* values,
                                 DWORD* maxValueNameLen, DWORD* maxValueLen, DWORD* securityLen,
                                 FILETIME* lastWrite);

// Reads a value. The size goes in as the buffer's bytes and comes out as the value's, also with
// ERROR_MORE_DATA, where the buffer is untouched, and with a null buffer, which only asks. The type
// (may be null) is delivered whenever the value exists. A null name is the key's default value.
SPS_API LSTATUS RegQueryValueExW(HKEY key, const char16_t* name, DWORD* reserved, DWORD* type, BYTE* data,
                                 DWORD* size);

// Creates or replaces a value with exactly these bytes.
SPS_API LSTATUS RegSetValueExW(HKEY key, const char16_t* name, DWORD reserved, DWORD type, const BYTE* data,
                               DWORD size);

SPS_API LSTATUS RegDeleteValueW(HKEY key, const char16_t* name);

// Deletes the key at the path below another key, with its values. A key that has sub keys, and a hive,
// give ERROR_ACCESS_DENIED.
SPS_API LSTATUS RegDeleteKeyW(HKEY key, const char16_t* path);

// Sub key and value number index, counted from 0 in the order of the folded names. The name's capacity
// goes in as characters with terminator and comes out without it. ERROR_NO_MORE_ITEMS past the end,
// ERROR_MORE_DATA for a name or data that does not fit (the data size is then the one needed).
SPS_API LSTATUS RegEnumKeyExW(HKEY key, DWORD index, char16_t* name, DWORD* nameSize, DWORD* reserved,
                              char16_t* keyClass, DWORD* classSize, FILETIME* lastWrite);
SPS_API LSTATUS RegEnumValueW(HKEY key, DWORD index, char16_t* name, DWORD* nameSize, DWORD* reserved,
                              DWORD* type, BYTE* data, DWORD* size);

// Replaces each %NAME% by that environment variable; a reference to none stays as it is. The result is
// the characters needed, terminator included, whether or not they fit in the capacity; 0 for a null
// text. What does not fit leaves the buffer empty.
SPS_API DWORD ExpandEnvironmentStringsW(const char16_t* text, char16_t* buffer, DWORD capacity);
