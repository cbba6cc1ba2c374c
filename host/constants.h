/*
 * constants.h - the numbers host and filter share: FormatIds, CharsetIds,
 * TransferCodes, break kinds, tag kinds, property forms, fixed-text numbers
 * and the stream routines' codes.
 */
#ifndef MAILSIFT_HOST_CONSTANTS_H
#define MAILSIFT_HOST_CONSTANTS_H

/* Codes of the stream routines (int16_t results). */
enum {
    VW_OK = 0,
    VW_ERR_NOT_MINE = -2,       /* not a format this filter reads; object can't open */
    VW_ERR_NO_HEADER = -3,      /* the message couldn't be walked */
    VW_ERR_SPLIT_END = -5,      /* last piece of a split set is missing its end */
    VW_ERR_DECLINED = -7        /* a later piece of a split file, or a mailbox of many */
};

/* FormatIds the filter declares, in the order VwGetInfo id 7 lists them. */
#define FI_MIME_FILE 1187u
#define FI_INTERNET_MAIL 1192u
#define FI_INTERNET_NEWS 1193u
#define FI_TEXT_MAIL 1132u
#define FI_OUTLOOK_MAIL 1195u
#define FI_OUTLOOK_NEWS 1194u
#define FI_MHTML 1198u
#define FI_UUE 4050u
#define FI_XXE 4052u
#define FI_YENC 4054u
#define FI_BINHEX 4056u
#define FI_UUE_PIECE 4051u
#define FI_XXE_PIECE 4053u
#define FI_YENC_PIECE 4055u
#define FI_BINHEX_PIECE 4057u
#define FI_TNEF 1197u
#define FI_MBOX 1817u


/* FormatIds the filter compares against without declaring them. */
#define FI_UNKNOWN 1999u
#define FI_TEXT 4022u /* text that may hold encoded data */
#define FI_HTML 1101u /* body for support filter 1181 */
#define FI_RTF 1028u /* body for support filter 1028 */
#define FI_HTML_FILTER 1181u /* filter id of the HTML support filter */
#define FI_TEXT_MAIL_PART 1170u /* every part of a 1132 document */
#define FI_SKIPPED 1815u
#define FI_EMBEDDABLE_FIRST 1500u /* pictures: placed as objects, not links */
#define FI_EMBEDDABLE_LAST 1641u


/* CharsetIds. Under CS_UNICODE a character is an already decoded 16-bit value. */
#define CS_UNICODE 0x14B00000u
#define CS_ISO2022_MARK 0x00050000u
#define CS_ISO2022_TEXT 0x10000100u

/* TransferCodes, the decoding stages of Open kind 19. */
#define TC_NONE 0u
#define TC_BASE64 2u
#define TC_ASCII85 4u
#define TC_UUENCODE 15u
#define TC_XXENCODE 16u
#define TC_BINHEX 17u
#define TC_YENC 18u
#define TC_BTOA 19u
#define TC_QUOTED_PRINTABLE 20u
#define TC_UTF7 21u
#define TC_COMPRESSED_RTF 22u
#define TC_DETECT 255u


/* First argument of SoPutBreak. */
enum {
    BRK_PARAGRAPH = 1,
    BRK_DOCUMENT_END = 2,
    BRK_SECTION_END = 3,
    BRK_ROW_END = 0x13,
    BRK_CELL_END = 0x14
};

/* SoPutSpecialChar kinds. */
enum { SPC_TAB = 1, SPC_PAGE_BREAK = 4 };

/* Tag kinds of SoBeginTag / SoEndTag; the low 16 bits are the record's bytes. */
#define TAG_LINK 0x8003000Cu        /* id: sub-document number */
#define TAG_BODY_NAME 0x80020008u   /* id: subdocOrdinal | 0x80000000 */
#define TAG_HEADER_VALUE 0x00290004u /* id: index of the header field */
#define TAG_SIDE_TEXT 0xA00A0000u   /* richtext side text */

/* Forms of SoSetProperty. */
enum {
    PROP_ATTRIBUTE = 8,
    PROP_ALIGNMENT = 0xC,
    PROP_SECTION_START = 0x1B,
    PROP_SAMEPAGE = 0x39,
    PROP_INDENT = 0x61,
    PROP_RECIPE_STEP = 0xC1,
    PROP_RECIPE_END = 0xC2
};

/* Attributes of PROP_ATTRIBUTE. */
enum {
    ATTR_BOLD = 2,
    ATTR_ITALIC = 3,
    ATTR_UNDERLINE = 4,
    ATTR_SUBSCRIPT = 10,
    ATTR_SUPERSCRIPT = 11,
    ATTR_FIELD_NAME = 15
};

/* The `what` of a PROP_RECIPE_STEP. */
enum {
    STEP_RANGE = 8,
    STEP_DECODE = 0x2000,
    STEP_SPECIAL = 0x100
};

/* Fixed texts the host holds, for SoPutStringId. */
#define TXT_FROM 0x1367Cu
#define TXT_TO 0x1366Au
#define TXT_BCC 0x1366Cu
#define TXT_CC 0x1366Bu
#define TXT_SUBJECT 0x1366Du
#define TXT_DATE 0x1367Fu
#define TXT_NEWSGROUPS 0x13682u
#define TXT_ATTACHMENTS 0x13685u

#endif
