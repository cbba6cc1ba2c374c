// The C side of the public headers: see headers_in_c.c.
#include <gtest/gtest.h>

extern "C" int HostHeadersSeenFromC(void);

TEST(PublicHeaders, CompileAndAgreeInC) { EXPECT_EQ(HostHeadersSeenFromC(), 1); }
