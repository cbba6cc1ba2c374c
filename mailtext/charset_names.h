// charset_names.h - a charset name (free text) to the CharsetId the filter
// labels its characters with; hosts use the same answer to pick a converter.
#pragma once

#include <cstdint>
#include <string_view>

#include "mailtext/charset_ids.h"

// Never 0: a name nothing matches, and a null name, are plain text.
uint32_t ResolveCharset(const char* name);
uint32_t ResolveCharset(std::string_view name);
