#ifndef QUILKOVA_QUILKOVA_HPP
#define QUILKOVA_QUILKOVA_HPP

/**
 * @file quilkova.hpp
 * @brief Every public header of libquilkova: the flat face and the quilkova classes.
 */

#include "quilkova/quilkova.h"
#include "quilkova/account_health_beacon_service.hpp"
#include "quilkova/account_pkce_service.hpp"
#include "quilkova/account_service.hpp"
#include "quilkova/backtrace.hpp"
#include "quilkova/file_lock.hpp"
#include "quilkova/hos_service.hpp"
#include "quilkova/kova_exception.hpp"
#include "quilkova/kova_plugin_manager.hpp"
#include "quilkova/package_pkce_client.hpp"
#include "quilkova/pkce_client.hpp"
#include "quilkova/server_info.hpp"
#include "quilkova/user.hpp"

/** The class face of libquilkova: failures are thrown as quilkova::KovaException. */
namespace quilkova {}

#endif
