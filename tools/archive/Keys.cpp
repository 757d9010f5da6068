#include "archive/Keys.h"

#include <Brenik3.h>

namespace b3archive {

const std::vector<Key>& keys()
{
    static const std::vector<Key> table = {
        {0x00100020, PATIENT, "patient_id", KEY_TEXT},
        {0x00100010, PATIENT, "patient_name", KEY_NAME},
        {0x00100030, PATIENT, "birth_date", KEY_DATE},
        {0x00100040, PATIENT, "sex", KEY_TEXT},
        {0x00201200, PATIENT, "n_studies", KEY_COUNT},
        {0x00201202, PATIENT, "n_series", KEY_COUNT},
        {0x00201204, PATIENT, "n_instances", KEY_COUNT},
        {0x00080005, PATIENT, "charset", KEY_CHARSET},
        {0x0020000D, STUDY, "study_uid", KEY_UID},
        {0x00080020, STUDY, "study_date", KEY_DATE},
        {0x00080030, STUDY, "study_time", KEY_TIME},
        {0x00080050, STUDY, "accession", KEY_TEXT},
        {0x00200010, STUDY, "study_id", KEY_TEXT},
        {0x00080090, STUDY, "referring", KEY_NAME},
        {0x00081030, STUDY, "description", KEY_TEXT},
        {0x00080061, STUDY, "modalities", KEY_MULTI},
        {0x00201206, STUDY, "n_series", KEY_COUNT},
        {0x00201208, STUDY, "n_instances", KEY_COUNT},
        {0x00080005, STUDY, "charset", KEY_CHARSET},
        {0x0020000E, SERIES, "series_uid", KEY_UID},
        {0x00080060, SERIES, "modality", KEY_TEXT},
        {0x00200011, SERIES, "series_number", KEY_TEXT},
        {0x0008103E, SERIES, "description", KEY_TEXT},
        {0x00201209, SERIES, "n_instances", KEY_COUNT},
        {0x00080021, SERIES, "series_date", KEY_DATE},
        {0x00080031, SERIES, "series_time", KEY_TIME},
        {0x00080005, SERIES, "charset", KEY_CHARSET},
        {0x00080018, IMAGE, "sop_uid", KEY_UID},
        {0x00080016, IMAGE, "sop_class", KEY_UID},
        {0x00200013, IMAGE, "instance_number", KEY_TEXT},
        {0x00080022, IMAGE, "acquisition_date", KEY_DATE},
        {0x00080032, IMAGE, "acquisition_time", KEY_TIME},
        {0x00080023, IMAGE, "content_date", KEY_DATE},
        {0x00080033, IMAGE, "content_time", KEY_TIME},
        {0x00080005, IMAGE, "charset", KEY_CHARSET},
    };
    return table;
}

const Key* findKey(unsigned int tag)
{
    for (const Key& key : keys())
        if (key.tag == tag)
            return &key;
    return nullptr;
}

const Key* timeKeyOf(const Key& date)
{
    // Study, Series, Acquisition and Content Date: (0008,0020) to (0008,0023),
    // their times sixteen elements on.
    if (date.kind != KEY_DATE || date.tag < 0x00080020 || date.tag > 0x00080023)
        return nullptr;
    return findKey(date.tag + 0x10);
}

const char* tableOf(Level level)
{
    static const char* const names[] = {"patient", "study", "series", "instance"};
    return names[level];
}

bool levelFromText(const std::string& text, Level& level)
{
    for (int i = PATIENT; i <= IMAGE; i++) {
        if (text == levelText(static_cast<Level>(i))) {
            level = static_cast<Level>(i);
            return true;
        }
    }
    return false;
}

const char* levelText(Level level)
{
    static const char* const names[] = {"PATIENT", "STUDY", "SERIES", "IMAGE"};
    return names[level];
}

std::string elementText(DcElem& elem)
{
    // A key read in lossless mode gives every value it holds (a list of UIDs
    // can be longer than the attribute's multiplicity); text VRs only.
    const unsigned char* bytes = nullptr;
    unsigned int len = 0;
    DICT_VR vr = VR_UNKNOWN;
    elem.getVr(vr);
    if (vr == VR_UI && elem.getValueAsRead(bytes, len)) {
        std::string text(reinterpret_cast<const char*>(bytes), len);
        while (!text.empty() && (text.back() == '\0' || text.back() == ' '))
            text.pop_back();
        return text;
    }
    std::string text;
    int count = 0;
    elem.getValueCount(count);
    elem.resetValueCount();
    for (int i = 0; i < count; i++) {
        char value[1025] = "";
        if (elem.getValue(value, sizeof value - 1, ELEM_VAL_INDEX_INCREMENT) != 0)
            break;
        if (i > 0)
            text += '\\';
        text += value;
    }
    elem.resetValueCount();
    return text;
}

std::string valueOf(DcElemList& list, unsigned int tag)
{
    DcElem* elem = nullptr;
    if (list.getElem(tag, &elem) != 0 || elem == nullptr)
        return "";
    return elementText(*elem);
}

}
