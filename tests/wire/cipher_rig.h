// Keystreams for tests: the bytes of one key, written out.
#pragma once

#include "wire/wire_rig.h"

// The 32 bytes 00 to 1F.
Bytes CountingKey();

// The bytes of its keystream from a position of the wire: of 0 to 6799 and 30600 to 37399.
Bytes CountingKeystream(size_t position, size_t count);

Bytes Xor(Bytes first, const Bytes &second);

// What stands on the wire for `plain` when its first byte meets that position of the keystream.
Bytes Enciphered(const Bytes &plain, size_t position);

// Turns the cipher on, with the counting key in both directions.
void StartKeystreams(Connection *conn);

// Moves both keystreams by so many bytes.
void PassOver(Connection *conn, size_t count);
