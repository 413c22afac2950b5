#include "support/checked_io.h"

#include <cerrno>
#include <cstring>

#include "DIAG/user_msg_api.h"

namespace {

FILE* file_of(STREAM_HANDLE* handle) { return handle ? handle->stream : nullptr; }

// Positions are counted from the handle's base (a view's first byte); only
// SEEK_SET offsets are moved by it.
long absolute(STREAM_HANDLE* handle, long offset, int whence) {
  return whence == SEEK_SET ? offset + static_cast<long>(handle->base) : offset;
}

}  // namespace

long pftell(STREAM_HANDLE* handle) {
  FILE* f = file_of(handle);
  if (!f) {
    user_msg_app_error(user_msg_reporter(), "pftell called with a NULL FILE pointer");
    return -1;
  }
  long position = std::ftell(f);
  if (position < 0) {
    user_msg_app_error(user_msg_reporter(), "call to pftell failed:  %s", std::strerror(errno));
    return -1;
  }
  return position - static_cast<long>(handle->base);
}

int pfseek(STREAM_HANDLE* handle, long offset, int whence) {
  FILE* f = file_of(handle);
  if (!f) {
    user_msg_app_error(user_msg_reporter(), "pfseek called with a NULL FILE pointer");
    return -1;
  }
  if (whence == SEEK_SET && offset < 0) {
    user_msg_app_error(user_msg_reporter(), "pfseek called with SEEK_SET, but offset is negative");
    return -1;
  }
  if (std::fseek(f, absolute(handle, offset, whence), whence) != 0) {
    user_msg_app_error(user_msg_reporter(), "call to pfseek failed:  %s", std::strerror(errno));
    return -1;
  }
  return 0;
}

uint32_t pftello(STREAM_HANDLE* handle) {
  FILE* f = file_of(handle);
  if (!f) {
    user_msg_app_error(user_msg_reporter(), "pftello called with a NULL FILE pointer");
    return UINT32_MAX;
  }
  // The position is kept in 32 bits; all ones is the failure value.
  off_t at = ftello(f);
  uint32_t position = static_cast<uint32_t>(at < 0 ? at : at - handle->base);
  if (position == UINT32_MAX)
    user_msg_app_error(user_msg_reporter(), "call to pftello failed:  %s", std::strerror(errno));
  return position;
}

void pfseeko(STREAM_HANDLE* handle, int32_t offset, int whence) {
  FILE* f = file_of(handle);
  if (!f) {
    user_msg_app_error(user_msg_reporter(), "pfseeko called with a NULL FILE pointer");
    return;
  }
  if (whence == SEEK_SET && offset < 0) {
    user_msg_app_error(user_msg_reporter(), "pfseeko called with SEEK_SET, but offset is negative");
    return;
  }
  fseeko(f, absolute(handle, offset, whence), whence);
}

size_t pfread(void* buffer, size_t element_size, size_t count, STREAM_HANDLE* handle) {
  if (!buffer) {
    user_msg_app_error(user_msg_reporter(), "pfread called with a NULL buffer pointer");
    return 0;
  }
  FILE* f = file_of(handle);
  if (!f) {
    user_msg_app_error(user_msg_reporter(), "pfread called with a NULL FILE pointer");
    return 0;
  }
  return std::fread(buffer, element_size, count, f);
}

size_t pfwrite(const void* buffer, size_t element_size, size_t count, STREAM_HANDLE* handle,
               bool quiet) {
  if (!buffer) {
    user_msg_app_error(user_msg_reporter(), "pfwrite called with a NULL buffer pointer");
    return 0;
  }
  if (element_size == 0) {
    user_msg_app_error(user_msg_reporter(), "pfwrite called requesting zero-size elements");
    return 0;
  }
  if (count == 0) {
    user_msg_app_error(user_msg_reporter(), "pfwrite called requesting zero elements");
    return 0;
  }
  FILE* f = file_of(handle);
  if (!f) {
    user_msg_app_error(user_msg_reporter(), "pfwrite called with a NULL FILE pointer");
    return 0;
  }
  size_t written = std::fwrite(buffer, element_size, count, f);
  if (written < count && !quiet)
    user_msg_app_error(user_msg_reporter(), "pfwrite only wrote %zu elements; %zu were requested",
                       written, count);
  return written;
}
