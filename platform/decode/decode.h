// decode.h - the decoding stages behind Open kind 19.
#pragma once

#include <cstdint>

#include "host/io_object.h"

// Makes an object that delivers the decoded bytes of `base` for `transferCode`.
// 0 on success; -2 for a TransferCode this library does not decode.
int32_t DecodeObjectOpen(IoObject* base, uint32_t transferCode, IoObject** out);
