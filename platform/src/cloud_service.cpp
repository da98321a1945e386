// The cloud-service library of the generic platform.
#include "quilplatform/cloud_service.h"

namespace {
int g_cloud_service_error = 0;
}  // namespace

extern "C" int QUILCloudServiceGetErrorCode(void) {
    return g_cloud_service_error;
}
