/*
 * host_routines.h - the output routines a host gives the filter.
 *
 * There are 121 routine ids. The filter calls 24 of them, whose exact types
 * are below; the others are stored and never called. A host installs each with
 * VwSetSoRtn(id, (VwRoutine)fn, proc). Every routine takes, after the arguments
 * listed, the two words given to VwSetUser, and returns int32_t; only the low
 * 16 bits of SoPutBreak's answer are read (1 = stop reading here).
 */
#ifndef MAILSIFT_HOST_HOST_ROUTINES_H
#define MAILSIFT_HOST_HOST_ROUTINES_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* How routines are stored in tables: cast to and from the exact type. */
typedef void (*VwRoutine)(void);

enum {
    SO_ROUTINE_COUNT = 121,
    SO_PUTCHAR = 1,
    SO_PUTSPECIALCHAR = 2,
    SO_SETFONTSIZE = 3,
    SO_PUTBREAK = 5,
    SO_BEGINSECTION = 18,
    SO_BAILOUT = 20,
    SO_SETPARASPACING = 33,
    SO_BEGINTABLE = 40,
    SO_ENDTABLE = 41,
    SO_PUTOBJECT = 45,
    SO_PUTRULE = 47,
    SO_BEGINTAG = 49,
    SO_ENDTAG = 50,
    SO_REGISTERTEXT = 51,
    SO_DECLARESUBTEXT = 74,
    SO_PUTROWFORMAT = 85,
    SO_SETTEXTCOLOR = 88,
    SO_SETSECONDCOLOR = 89,
    SO_SETCHARSET = 90,
    SO_NEWSUBDOC = 96,
    SO_PUTSTRINGID = 97,
    SO_PUTCELLFORMAT = 98,
    SO_SETPROPERTY = 99,
    SO_SETSECTIONNAME = 102
};

#define SO_USER uintptr_t user1, uintptr_t user2

/* A character in the current charset, in the low 16 bits. */
typedef int32_t (*SoPutCharFn)(uint32_t ch, SO_USER);
/* 1 tab, 4 page break. */
typedef int32_t (*SoPutSpecialCharFn)(uint32_t kind, SO_USER);
typedef int32_t (*SoSetFontSizeFn)(int32_t size, SO_USER);
/* kind: 1 paragraph, 2 end of document, 3 end of section, 0x13 end of row,
 * 0x14 end of cell. Answer 1 to a kind 1 break to stop the read there. */
typedef int32_t (*SoPutBreakFn)(uint32_t kind, uint32_t zero, SO_USER);
typedef int32_t (*SoBeginSectionFn)(uint32_t a, uint32_t b, uint32_t c, SO_USER);
typedef int32_t (*SoBailOutFn)(uint32_t code, SO_USER);
typedef int32_t (*SoSetParaSpacingFn)(uint32_t kind, uint32_t amount, uint32_t before,
                                      uint32_t after, SO_USER);
typedef int32_t (*SoBeginTableFn)(SO_USER);
typedef int32_t (*SoEndTableFn)(SO_USER);
/* record: 40 words, word 0 = 160 (its size in bytes). */
typedef int32_t (*SoPutObjectFn)(const uint32_t* record, SO_USER);
/* record: 8 words (2, 0x200, 0 ...); then 0, 255, 9360, 2. */
typedef int32_t (*SoPutRuleFn)(const uint32_t* record, uint32_t a, uint32_t b, uint32_t c,
                               uint32_t d, SO_USER);
/* The low 16 bits of `kind` are the byte length of `record` (may be null). */
typedef int32_t (*SoBeginTagFn)(uint32_t kind, uint32_t id, const uint32_t* record, SO_USER);
typedef int32_t (*SoEndTagFn)(uint32_t kind, uint32_t id, SO_USER);
/* Stores a 16-bit text under a number the host writes to *number. The text is
 * only valid during the call. */
typedef int32_t (*SoRegisterTextFn)(const uint16_t* text, uint32_t charset, uint32_t length,
                                    uint32_t* number, SO_USER);
typedef int32_t (*SoDeclareSubTextFn)(uint32_t kind, uint32_t number, SO_USER);
/* 7 words. */
typedef int32_t (*SoPutRowFormatFn)(const uint32_t* rowFormat, SO_USER);
typedef int32_t (*SoSetTextColorFn)(uint32_t which, uint32_t colour, SO_USER);
typedef int32_t (*SoSetSecondColorFn)(uint32_t which, uint32_t colour, SO_USER);
typedef int32_t (*SoSetCharsetFn)(uint32_t charset, SO_USER);
/* The host writes the new sub-document's number to *number. */
typedef int32_t (*SoNewSubdocFn)(uint32_t* number, SO_USER);
typedef int32_t (*SoPutStringIdFn)(uint32_t number, SO_USER);
/* 32 words, word 0 = 128. */
typedef int32_t (*SoPutCellFormatFn)(const uint32_t* cell, SO_USER);
typedef int32_t (*SoSetPropertyFn)(uint32_t form, uint32_t a, uint32_t b, uint32_t c, SO_USER);
typedef int32_t (*SoSetSectionNameFn)(uint32_t number, uint32_t one, SO_USER);

#undef SO_USER

#ifdef __cplusplus
}
#endif

#endif
