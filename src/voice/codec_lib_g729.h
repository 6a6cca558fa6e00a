// The codec table's G.729 entry.
#pragma once

#include "voice/codec_lib.h"

CodecEntry makeG729CodecEntry();
