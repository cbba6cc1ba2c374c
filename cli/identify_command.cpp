// identify_command.cpp - `mailsift identify FILE`: the FormatId the
// identification service gives the file, with a name for people. Only the
// service is asked: the fallback sniffing of `view` is not applied, so this
// shows what the service alone says.
#include <cstdio>
#include <string>

#include "cli/commands.h"
#include "host/constants.h"
#include "host/platform_extras.h"
#include "host/services.h"

namespace {

struct FormatName {
    uint16_t id;
    const char* name;
};

const FormatName kFormatNames[] = {
    {FI_MIME_FILE, "MIME header block"},
    {FI_INTERNET_MAIL, "Internet Mail Message"},
    {FI_INTERNET_NEWS, "Internet News Article"},
    {FI_TEXT_MAIL, "Text Mail"},
    {FI_OUTLOOK_MAIL, "Outlook Mail Message"},
    {FI_OUTLOOK_NEWS, "Outlook News Article"},
    {FI_MHTML, "Saved Web Page (MHTML)"},
    {FI_TNEF, "TNEF Envelope"},
    {FI_MBOX, "Mailbox"},
    {FI_RTF, "Rich Text Format"},
    {FI_HTML, "HTML"},
    {FI_TEXT, "Text"},
    {FI_UUE, "uuencoded data"},
    {FI_UUE_PIECE, "uuencoded data, a later piece"},
    {FI_XXE, "xxencoded data"},
    {FI_XXE_PIECE, "xxencoded data, a later piece"},
    {FI_YENC, "yEnc data"},
    {FI_YENC_PIECE, "yEnc data, a later piece"},
    {FI_BINHEX, "BinHex 4.0 data"},
    {FI_BINHEX_PIECE, "BinHex 4.0 data, a later piece"},
    {FI_UNKNOWN, "unknown"},
};

// The name of `id`; binary kinds are named by libmagic's MIME type.
std::string FormatIdName(uint16_t id, IoObject* file) {
    for (const FormatName& entry : kFormatNames)
        if (entry.id == id) return entry.name;
    if (id >= FI_EMBEDDABLE_FIRST && id <= FI_EMBEDDABLE_LAST)
        return std::string("Picture (") + IdentifyMimeType(file) + ")";
    if (id >= 1300 && id <= 1399) return std::string("Binary file (") + IdentifyMimeType(file) + ")";
    return "unnamed";
}

}  // namespace

int IdentifyCommand(int argc, char** argv) {
    if (argc != 2 || argv[1][0] == '-') {
        Complain("usage: mailsift identify FILE");
        return kExitUsage;
    }
    IoObject* file = nullptr;
    const int status = OpenInput(argv[1], &file);
    if (status != kExitOk) return status;
    uint16_t formatId = FI_UNKNOWN;
    file->Seek(file, 0, 0);
    IdentifyHandle(file, 0, &formatId);
    const std::string line = std::to_string(formatId) + " " + FormatIdName(formatId, file) + "\n";
    file->Close(file);
    if (std::fputs(line.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
        Complain("cannot write the output");
        return kExitIo;
    }
    return kExitOk;
}
