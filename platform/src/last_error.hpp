#ifndef QUILPLATFORM_LAST_ERROR_HPP
#define QUILPLATFORM_LAST_ERROR_HPP

namespace quilplatform {

void SetLastError(int code, const char* file, int line);

}  // namespace quilplatform

// Records a failure of the calling platform function at this line.
#define QLIBC_FAIL(code) ::quilplatform::SetLastError((code), __FILE__, __LINE__)

#endif
