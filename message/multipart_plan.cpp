// multipart_plan.cpp - decides, for each multipart, which of its children are
// shown, hidden or attached, and where its display starts.
//
// An alternative shows its child of highest preference, a related part its
// "start" part, a digest all its entries; any other multipart is left to the
// section planner apart from its attachments. Children are picked out of the
// flat list by boundary containment, not by position, so a boundary that
// contains another one makes a record count under both. Runs after every leaf
// is classified; writes only multipartKind, parentKind and display.
#include <cstring>

#include "message/message.h"

namespace {

constexpr uint32_t kFormatTnef = 1197;
constexpr size_t kStartSize = 256;
constexpr size_t kBoundarySize = 128;
// Every level scans the rest of the list, and boundaries that contain one
// another let a record be planned under several levels; this many child
// visits in one plan are far beyond real mail and keep hostile lists from
// taking time without end. Visits past it plan nothing more.
constexpr uint32_t kMaxVisits = 1u << 22;

struct Plan {
    PartList* parts;
    uint32_t visits;
};

MessagePart* PartAt(const Plan* plan, uint32_t index) { return ListAt<MessagePart>(plan->parts, index); }

// In an alternative, the record at `loser` is hidden once a better one is found.
void HideLoser(Plan* plan, uint32_t loser, MessagePart* multipart) {
    if (MultipartKind(multipart) == MP_ALTERNATIVE) PartAt(plan, loser)->display = DISPLAY_LOSER;
}

uint16_t PlanLevel(Plan* plan, uint16_t index, uint32_t depth) {
    MessagePart* multipart = PartAt(plan, index);
    char start[kStartSize];
    char boundary[kBoundarySize];
    const char* identifier = GetFieldParam("content-type", "start", start, sizeof start, multipart->headers);
    boundary[0] = '\0';
    GetFieldParam("content-type", "boundary", boundary, sizeof boundary, multipart->headers);

    uint16_t best = index;
    uint32_t bestPreference = PREF_NONE;
    uint16_t count = ListCount(plan->parts);
    for (uint32_t i = static_cast<uint32_t>(index) + 1; i < count; ++i) {
        if (++plan->visits > kMaxVisits) break;
        MessagePart* child = PartAt(plan, i);
        if (child->boundary == nullptr || std::strstr(child->boundary, boundary) == nullptr) continue;
        child->parentKind = MultipartKind(multipart);
        if (child->isMultipart) {
            // An alternative that holds a multipart is no longer a choice
            // among bodies from here on.
            if (MultipartKind(multipart) == MP_ALTERNATIVE) multipart->multipartKind = MP_OTHER;
            // Past the nesting limit a nested multipart is not planned and
            // counts as its own start.
            uint16_t nested = static_cast<uint16_t>(i);
            if (depth < kMaxNesting) nested = PlanLevel(plan, static_cast<uint16_t>(i), depth + 1);
            if (best == index) best = nested;
            continue;
        }
        if (best == index) best = static_cast<uint16_t>(i);
        // A TNEF body takes over the multipart: nothing behind it is planned.
        if (child->formatId == kFormatTnef) return static_cast<uint16_t>(i);
        if (MultipartKind(multipart) == MP_DIGEST) {
            child->display = DISPLAY_SHOWN;
            continue;
        }
        if (MatchesContentId(child->headers, identifier)) {
            if (bestPreference > PREF_NONE) HideLoser(plan, best, multipart);
            best = static_cast<uint16_t>(i);
            bestPreference = PREF_START;
            child->display = DISPLAY_SHOWN;
            continue;
        }
        if (IsAttachment(child->headers, multipart->headers)) {
            child->display |= DISPLAY_ATTACHMENT;
            continue;
        }
        if (MultipartKind(multipart) == MP_OTHER) continue;
        uint32_t preference = BodyPreference(child);
        if (preference > bestPreference) {
            HideLoser(plan, best, multipart);
            best = static_cast<uint16_t>(i);
            bestPreference = preference;
            child->display = DISPLAY_SHOWN;
        } else if (MultipartKind(multipart) == MP_ALTERNATIVE) {
            child->display = DISPLAY_LOSER;
        }
    }
    return best;
}

}  // namespace

uint16_t PlanMultipart(PartList* parts, uint16_t index) {
    if (parts == nullptr || index >= ListCount(parts)) return index;
    Plan plan{parts, 0};
    return PlanLevel(&plan, index, 0);
}
