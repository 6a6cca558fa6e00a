// Volume as a gain multiplied into 16-bit little-endian samples, in place.
#pragma once

// The factor of a level: 1.0 at 0, (level + 1) x step + 1 from -1 to 12,
// and 1.25 outside that range.
float gainFactor(int level, float step);

// 0 done; 1 with no data or a byte count under 1. Samples are cut to the
// 16-bit range on their own side of zero.
int applyGain(void* data, int bytes, int level, float step);
