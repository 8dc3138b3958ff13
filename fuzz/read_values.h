// What a caller does with a received result, over values that came off the wire.
#pragma once

// Reads the column descriptions, then every value of every row as text and as other CTypes.
// The result stays open; large objects are not read (they need a handle, and a link to fetch).
void read_every_value(void* result);
