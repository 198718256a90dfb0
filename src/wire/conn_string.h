// The connection string: a text of "key=value" items, the record that it fills, and the login
// attributes that follow from that record.
#pragma once

#include <cstddef>
#include <cstdint>

#include "records/connection.h"
#include "tavu/tvci.h"

// Room for a key or a value with its NUL.
constexpr size_t ITEM_PART_BYTES = 64;
// Addresses for which a list has room at first.
constexpr int32_t IPS_FIRST_CAPACITY = 20;
// Addresses that a list can hold.
constexpr int32_t IPS_MAX = 100;

// Fills `attrs`, which is zeroed before, with what the text says. `attrs->ips` is the library's.
void ConnStringParse(const char *text, ConnStringAttrs *attrs);

// Splits an item at its first "=" into key and value without the blanks around them, each cut to
// its buffer of ITEM_PART_BYTES. Returns 1, or 0 with both empty when there is no "=".
int32_t ConnStringItem(const char *item, char *key, char *value);

// Fills a zeroed list with the addresses between the commas behind the 4 characters of "ips=".
// `capacity` is the first room, at least IPS_FIRST_CAPACITY. Returns 1; or 0 when memory is short,
// or when an address follows the hundredth, which is said on standard output. The list then ends
// before the address at which that was found, and has no flags.
int32_t IpsParse(IpTextList *list, int32_t capacity, const char *item);

// Makes the list of an item with blanks before it, cut off where IpsParse refuses it. Nothing frees
// a list: all that were made stay, named in one chain. NULL when memory is short.
IpTextList *IpTextListMake(const char *item);

// Copies a text field of the record, which another program may have filled to its last byte, cut to
// `target`.
void ConnStringCopyField(char *target, size_t target_bytes, const char *field, size_t field_bytes);

// Sets the login attributes that a connection string can say, or their defaults, which differ from
// those of ConnAttrInit; the others stay as they are.
void ConnStringToAttr(ConnAttr *attr, const ConnStringAttrs *attrs);
