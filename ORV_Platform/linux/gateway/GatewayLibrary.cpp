// What libORVGateway.so exports.
#include <cerrno>
#include <cstdio>
#include <exception>
#include <memory>

#include "Gateway.h"
#include "GatewayInterface.h"

extern "C" {

int32_t orvGatewayStart(const OrvGatewayHost *host, const OrvGatewaySettings *settings, void **gateway, char *failure,
                        size_t failureSize) {
  if (settings->version != ORV_GATEWAY_VERSION) {
    std::snprintf(failure, failureSize, "libORVGateway.so and libORV.so are not of one version (install both anew)");
    return EPROTO;
  }
  try {
    std::unique_ptr<orv::gateway::Gateway> made;
    const orv::Status status = orv::gateway::Gateway::start(*host, *settings, made);
    if (!status.ok()) {
      std::snprintf(failure, failureSize, "%s", status.message.c_str());
      return status.code;
    }
    *gateway = made.release();
    return 0;
  } catch (const std::exception &error) {
    std::snprintf(failure, failureSize, "%s", error.what());
    return ENOMEM;
  }
}

void orvGatewayStop(void *gateway) {
  delete static_cast<orv::gateway::Gateway *>(gateway);
}

}  // extern "C"
