// identify.h - what the CLI hands the filter as FormatId: the platform's
// identification service first; when it has no answer, a small look at the
// start of the file for the three plain mail kinds (mbox, news, mail).
#pragma once

#include <cstdint>
#include <string_view>

#include "host/io_object.h"

// The service's answer, else the sniffed one, else 1999. Leaves the object at
// position 0.
uint16_t IdentifyDocument(IoObject* stream);

// 1817 for a leading mbox "From " line, 1193 for a header block with a
// Newsgroups field, 1192 for another real header block, else 1999.
uint16_t SniffMailKind(std::string_view head);
