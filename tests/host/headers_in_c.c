/* The public headers compile as plain C99: this file is C, and includes them
 * the way a C host would. It also checks a few of the numbers a host relies
 * on without the filter's help. */
#include "host/mailfilter.h"
#include "host/platform_extras.h"

#include <stddef.h>

int HostHeadersSeenFromC(void) {
    IoObject object = {0};
    IoRangeRequest range = {&object, 0, 0xFFFFFFFEu};
    VwRoutine table[40] = {0};
    SoPutBreakFn putBreak = 0;
    int ok = 1;
    ok &= offsetof(IoObject, Open) == 6 * sizeof(void*);
    ok &= sizeof(IoObject) == 12 * sizeof(void*);
    ok &= range.base == &object;
    ok &= SO_PUTBREAK == 5 && SO_SETPROPERTY == 99 && FI_MBOX == 1817u && TC_YENC == 18u;
    ok &= TAG_LINK == 0x8003000Cu && TXT_ATTACHMENTS == 0x13685u;
    VwGetRtns(table, 19);
    ok &= table[0] == (VwRoutine)&VwStreamOpen && table[18] != 0;
    (void)putBreak;
    return ok;
}
