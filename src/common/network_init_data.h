// The CallProcessor's heap copy of the client's ParameterContainer. The
// engines read it and never write or free it.
#pragma once

#include "softphone.h"

using NetworkInitData = ParameterContainer;
