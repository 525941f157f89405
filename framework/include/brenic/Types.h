// The runtime's value types under the framework's own names, so that its headers read like its users' code.
#pragma once

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>

#include "rlib/Containers.h"
#include "rlib/Exception.h"
#include "rlib/Path.h"
#include "rlib/String.h"
#include "rlib/Time.h"
#include "rlib/UID.h"

namespace brenic {

using boost::shared_ptr;
using rlib::Exception;
using rlib::k_Empty;
using rlib::Path;
using rlib::String;
using rlib::Time;
using rlib::UID;

} // namespace brenic
