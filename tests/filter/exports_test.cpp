// libmailfilter.so exports the interface names and nothing else: every
// routine of the routine table and the file-object routines, no internals
// (and no template instantiations, which hidden visibility alone would leak).
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>

namespace {

const std::set<std::string> kInterface = {
    "VwGetRtns", "VwGetInfo", "VwAllocProc", "VwFreeProc", "VwGetData", "VwSetData",
    "VwLocalUp", "VwLocalDown", "VwSetUser", "VwSetSoRtn", "VwStreamOpen", "VwStreamSection",
    "VwStreamRead", "VwStreamSeek", "VwStreamTell", "VwStreamClose", "VwStreamReadRecord",
    "VwGetSectionDataFunc", "VwSetSectionDataFunc", "VwDoSpecial",
    "MIMEDoClose", "MIMEDoRead", "MIMEDoSeek", "MIMEDoTell", "MIMEDoGetInfo",
    "MIMEMultiDoClose", "MIMEMultiDoRead", "MIMEMultiDoSeek", "MIMEMultiDoTell", "MIMEMultiDoGetInfo",
    "MIMELocatorsDoClose", "MIMELocatorsDoRead", "MIMELocatorsDoSeek", "MIMELocatorsDoTell",
    "MIMELocatorsDoGetInfo"};

std::set<std::string> DefinedDynamicSymbols(const std::string& library) {
    std::set<std::string> names;
    std::string command = "nm -D --defined-only '" + library + "'";
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return names;
    char line[1024];
    while (std::fgets(line, sizeof line, pipe)) {
        std::string text(line);
        text.erase(text.find_last_not_of("\r\n") + 1);
        size_t space = text.rfind(' ');
        names.insert(space == std::string::npos ? text : text.substr(space + 1));
    }
    EXPECT_EQ(pclose(pipe), 0) << command;
    return names;
}

TEST(Exports, OnlyInterfaceNamesLeaveTheLibrary) {
    std::set<std::string> names = DefinedDynamicSymbols(MAILSIFT_FILTER_LIB);
    ASSERT_FALSE(names.empty());
    for (const std::string& name : names) EXPECT_TRUE(kInterface.count(name)) << "exported: " << name;
    // Every routine of the routine table and of the three file objects is there.
    for (const std::string& name : kInterface) EXPECT_TRUE(names.count(name)) << "missing: " << name;
}

}  // namespace
