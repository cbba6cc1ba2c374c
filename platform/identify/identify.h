// identify.h - the identification service inside the platform library: what
// the first 8 KiB of an object hold, as a FormatId.
//
// The extern "C" services (IdentifyHandle, IdentifySpecial) live in
// platform/services.cpp and call IdentifyBytes / IdentifyEncodedBytes here.
// Each rule works on a byte window and never reads the object itself, so the
// rules are testable on plain buffers. 0 means "no answer" throughout: no
// FormatId of ours is 0.
#pragma once

#include <cstddef>
#include <cstdint>

#include "host/io_object.h"

// What the service looks at: the first 8 KiB of the object.
constexpr size_t kIdentifyWindow = 8192;

// Seeks `object` to 0 and reads up to kIdentifyWindow bytes into `window`;
// the position is not restored. False when the object can't be read.
bool IdentifyReadWindow(IoObject* object, uint8_t* window, size_t* length);

// The whole table, first match wins: a FormatId, or 0 when nothing fits.
uint16_t IdentifyBytes(const uint8_t* data, size_t length);

// Only the encodings (4050..4057), or 0.
uint16_t IdentifyEncodedBytes(const uint8_t* data, size_t length);

// --- the rules, in table order ---------------------------------------------

// TNEF, the embeddable pictures and PDF by their signatures; 0 otherwise.
uint16_t IdentifySignature(const uint8_t* data, size_t length);

// Other binary formats through libmagic's MIME type and our table; 0 when
// libmagic names nothing in the table (or can't be loaded).
uint16_t IdentifyByMagic(const uint8_t* data, size_t length);

// The FormatId of a MIME type in the table, or 0.
uint16_t FormatOfMimeType(const char* mimeType);

// libmagic's MIME type of the bytes, text types included (for listings), or
// null when libmagic isn't usable. Valid until the next call on this thread.
const char* MagicMimeType(const uint8_t* data, size_t length);

bool LooksLikeRtf(const uint8_t* data, size_t length);

// mbox 1817, MHTML 1198, MIME-only header 1187, news 1193, mail 1192, or 0.
uint16_t IdentifyMessage(const uint8_t* data, size_t length);

bool LooksLikeHtml(const uint8_t* data, size_t length);

// uuencode, xxencode, yEnc, BinHex: even for a piece that holds the opening,
// odd for a continuation; 0 for none.
uint16_t IdentifyEncoding(const uint8_t* data, size_t length);

// No NUL and few control characters other than tab, CR, LF, FF and ESC.
bool LooksLikeText(const uint8_t* data, size_t length);

// The libmagic MIME type of the object's first bytes, for listings; see
// host/platform_extras.h.
extern "C" const char* IdentifyMimeType(IoObject* object);
