// The interface encap state machine unit. For now it holds the status decoder;
// the state machine itself builds on it.
#pragma once

#include "WexVlanMapping/WexEncapHwStatusDecoder.h"
