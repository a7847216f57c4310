#include "platform/registry/Errors.h"

#include <lmdb.h>

#include <cerrno>

#include "platform/registry/RegistryStore.h"
#include "platform/support/Trace.h"
#include "platform/support/Utf.h"

namespace registry {
namespace {

bool concernsTheStore(const Failure& failure) {
  switch (failure.number()) {
    case ERROR_DISK_FULL:
    case ERROR_REGISTRY_CORRUPT:
    case ERROR_REGISTRY_IO_FAILED:
    case ERROR_NOT_REGISTRY_FILE:
    case ERROR_REVISION_MISMATCH:
    case ERROR_NO_SYSTEM_RESOURCES:
      return !failure.isReported();
    default:
      return false;
  }
}

}  // namespace

LSTATUS toRegistryNumber(int cause) {
  switch (cause) {
    case MDB_SUCCESS:
      return ERROR_SUCCESS;
    case MDB_NOTFOUND:
      return ERROR_FILE_NOT_FOUND;
    case ENOENT:  // of the store itself: no key is missing
      return ERROR_REGISTRY_IO_FAILED;
    case EACCES:
    case EPERM:
    case EROFS:
      return ERROR_ACCESS_DENIED;
    case ENOMEM:
      return ERROR_NOT_ENOUGH_MEMORY;
    case MDB_MAP_FULL:
    case MDB_TXN_FULL:
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return ERROR_DISK_FULL;
    case MDB_READERS_FULL:
    case EMFILE:
    case ENFILE:
    case EAGAIN:
      return ERROR_NO_SYSTEM_RESOURCES;
    case MDB_INVALID:
      return ERROR_NOT_REGISTRY_FILE;
    case MDB_VERSION_MISMATCH:
      return ERROR_REVISION_MISMATCH;
    case MDB_CORRUPTED:
    case MDB_PAGE_NOTFOUND:
    case MDB_INCOMPATIBLE:
    case MDB_BAD_DBI:
      return ERROR_REGISTRY_CORRUPT;
    case EINVAL:
      return ERROR_INVALID_PARAMETER;
    default:
      return ERROR_REGISTRY_IO_FAILED;
  }
}

const char16_t* describe(LSTATUS number) {
  switch (number) {
    case ERROR_ACCESS_DENIED:
      return u"access is denied";
    case ERROR_DISK_FULL:
      return u"the disk is full";
    case ERROR_NOT_REGISTRY_FILE:
      return u"it is not a registry store";
    case ERROR_REVISION_MISMATCH:
      return u"it has the format of another version";
    case ERROR_REGISTRY_CORRUPT:
      return u"it is damaged";
    case ERROR_NO_SYSTEM_RESOURCES:
      return u"the system's limits are reached";
    default:
      return u"it cannot be read or written";
  }
}

const char* reasonOf(const Failure& failure) {
  return failure.cause() != 0 ? mdb_strerror(failure.cause()) : "found by its own checks";
}

void report(const Failure& failure) noexcept {
  if (!concernsTheStore(failure)) return;
  try {
    report(failure, storeDirectory(), reasonOf(failure));
  } catch (const std::exception&) {
    return;  // as below
  }
}

void report(const Failure& failure, const std::string& directory, const std::string& reason) noexcept {
  if (!concernsTheStore(failure)) return;
  try {
    const std::u16string where = support::toUtf16(directory);
    const std::u16string cause = support::toUtf16(reason);
    _DbgSetLine(u"platform\\registry", __LINE__, u'E');
    _DbgOut(u"Registry store \"%s\" failed: %s (%ld, %s)", where.c_str(), describe(failure.number()),
            failure.number(), cause.c_str());
  } catch (const std::exception&) {
    return;  // no memory for the line; the caller has the number
  }
}

}  // namespace registry
