#include "platform/registry/Errors.h"

#include <lmdb.h>

#include <cerrno>

namespace registry {

LSTATUS toRegistryNumber(int cause) {
  switch (cause) {
    case MDB_SUCCESS:
      return ERROR_SUCCESS;
    case MDB_NOTFOUND:
    case ENOENT:
      return ERROR_FILE_NOT_FOUND;
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

}  // namespace registry
