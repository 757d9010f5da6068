#ifndef BRENIK3_TESTS_DATASET_DATASETMODEL_H
#define BRENIK3_TESTS_DATASET_DATASETMODEL_H

// A data set described apart from the library: what a test puts in, so that
// what comes back out of framing and parsing can be compared with it.

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "dataset/DcElemSq.h"
#include "dataset/DcElemSqItem.h"
#include "dictionary/DcDict.h"

struct ModelElem {
    unsigned int tag;
    DICT_VR vr;
    // Values as getValue(char*) gives them back: text as stored, AT as
    // "(gggg,eeee)", FL and FD with "%g", integers with "%d".
    std::vector<std::string> texts;
    // OB, OW and UN: the value bytes as held.
    Bytes raw;
    // SQ: each item's elements in ascending tag order.
    std::vector<std::vector<ModelElem>> items;
};
typedef std::vector<ModelElem> ModelSet;

// A private block whose element the dictionary is taught as UN, so that it
// is read in the implicit syntax as well.
enum : unsigned int { MODEL_PRIVATE_CREATOR_TAG = 0x00090010, MODEL_PRIVATE_UN_TAG = 0x00091010 };

inline void registerModelPrivateTags()
{
    int tagConst;
    if (Dict.getTagDef(MODEL_PRIVATE_CREATOR_TAG, tagConst) != 0)
        Dict.add(MODEL_PRIVATE_CREATOR_TAG, VR_LO, 1, "ModelPrivateCreator", nullptr);
    if (Dict.getTagDef(MODEL_PRIVATE_UN_TAG, tagConst) != 0)
        Dict.add(MODEL_PRIVATE_UN_TAG, VR_UN, 1, "ModelPrivateUnknown", nullptr);
}

inline bool modelIsRaw(DICT_VR vr)
{
    return vr == VR_OB || vr == VR_OW || vr == VR_UN;
}

inline DICT_VR resolvedVr(DcElem& elem)
{
    DICT_VR vr = VR_UNKNOWN;
    elem.getVr(vr);
    if (vr == VR_IM) {
        unsigned int tag;
        int tagConst;
        elem.getTag(tag);
        if (Dict.getTagDef(tag, tagConst) == 0)
            Dict.getVrDef(tagConst, vr);
    }
    return vr;
}

inline DcElem* buildElem(const ModelElem& model, DICT_UID xfer);

// Items are framed one by one and the sequence is read from them, which
// needs no member list in the dictionary.
inline DcElemSq* buildSequence(const ModelElem& model, DICT_UID xfer)
{
    Bytes value;
    for (const std::vector<ModelElem>& itemModel : model.items) {
        DcElemSqItem item;
        for (const ModelElem& member : itemModel)
            item.add(buildElem(member, xfer));
        unsigned int size = 0, len = 0;
        item.getBufSize(size, 0);
        Bytes bytes(size);
        EXPECT_EQ(item.frame(bytes.data(), len, xfer), 0);
        value.insert(value.end(), bytes.begin(), bytes.begin() + len);
    }
    return new DcElemSq(model.tag >> 16, model.tag & 0xFFFF, value.empty() ? nullptr : value.data(),
                        static_cast<unsigned int>(value.size()), xfer, VR_IM);
}

// Raw values are taken as held in xfer; every other value goes through the
// text entry point, one value at a time.
inline DcElem* buildElem(const ModelElem& model, DICT_UID xfer)
{
    if (model.vr == VR_SQ)
        return buildSequence(model, xfer);
    DcElem* elem = new DcElem(static_cast<unsigned short>(model.tag >> 16),
                              static_cast<unsigned short>(model.tag & 0xFFFF), nullptr, 0, xfer, VR_IM, 0);
    if (modelIsRaw(model.vr)) {
        EXPECT_EQ(elem->addValue(const_cast<unsigned char*>(model.raw.data()),
                                 static_cast<unsigned int>(model.raw.size()), xfer),
                  0);
    } else {
        for (const std::string& text : model.texts)
            EXPECT_EQ(elem->addValue(text.c_str()), 0) << std::hex << model.tag << " " << text;
    }
    return elem;
}

inline void buildInto(DcElemList& list, const ModelSet& model, DICT_UID xfer)
{
    for (const ModelElem& elem : model)
        list.add(buildElem(elem, xfer));
}

inline std::string tagName(unsigned int tag)
{
    char name[16];
    snprintf(name, sizeof name, "(%04x,%04x)", tag >> 16, tag & 0xFFFF);
    return name;
}

// The raw buffers of an element joined.
inline Bytes rawBytes(DcElem& elem)
{
    Bytes out;
    elem.resetValueCount();
    DcBuf buf;
    while (elem.getValue(buf) == 0) {
        const unsigned char* p = static_cast<const unsigned char*>(buf.getBuf());
        if (p != nullptr)
            out.insert(out.end(), p, p + buf.getLen());
    }
    elem.resetValueCount();
    return out;
}

inline void expectSameSet(DcElemList& list, const ModelSet& model, const std::string& where);

inline void expectSameElem(DcElem& elem, const ModelElem& model, const std::string& where)
{
    std::string at = where + tagName(model.tag);
    EXPECT_EQ(resolvedVr(elem), model.vr) << at;
    if (model.vr == VR_SQ) {
        DcElemSq& sq = static_cast<DcElemSq&>(elem);
        size_t i = 0;
        for (DcElemSqItem* item = sq.first(); item != nullptr; item = item->next(), ++i) {
            if (i >= model.items.size())
                break;
            expectSameSet(*item->getElemList(), model.items[i], at + "[" + std::to_string(i) + "]");
        }
        EXPECT_EQ(static_cast<size_t>(sq.DcList::count()), model.items.size()) << at << " item count";
        return;
    }
    if (modelIsRaw(model.vr)) {
        EXPECT_EQ(rawBytes(elem), model.raw) << at;
        return;
    }
    EXPECT_EQ(elem.getValueCount(), static_cast<int>(model.texts.size())) << at;
    elem.resetValueCount();
    std::vector<char> buf(40000);
    for (size_t i = 0; i < model.texts.size(); ++i) {
        buf[0] = '\0';
        EXPECT_EQ(elem.getValue(buf.data(), static_cast<int>(buf.size()) - 1), 0) << at << " value " << i;
        EXPECT_EQ(std::string(buf.data()), model.texts[i]) << at << " value " << i;
    }
    elem.resetValueCount();
}

// Element by element in tag order, nothing missing and nothing more.
inline void expectSameSet(DcElemList& list, const ModelSet& model, const std::string& where)
{
    DcElem* elem = list.first();
    for (const ModelElem& m : model) {
        if (elem == nullptr) {
            ADD_FAILURE() << where << tagName(m.tag) << " missing";
            return;
        }
        unsigned int tag = 0;
        elem->getTag(tag);
        if (tag != m.tag) {
            ADD_FAILURE() << where << " found " << tagName(tag) << " where " << tagName(m.tag) << " belongs";
            return;
        }
        expectSameElem(*elem, m, where);
        elem = elem->next();
    }
    if (elem != nullptr) {
        unsigned int tag = 0;
        elem->getTag(tag);
        ADD_FAILURE() << where << " unexpected " << tagName(tag);
    }
}

// Random data sets over the VRs the toolkit reads and writes.
class ModelGenerator {
public:
    explicit ModelGenerator(unsigned int seed) : rng(seed) {}

    // Elements from the pool in ascending order, each present by chance;
    // sequences down to maxDepth levels of nesting.
    ModelSet dataSet(int maxDepth, int depth = 0)
    {
        ModelSet set;
        for (const PoolEntry& entry : pool()) {
            if (!chance(45))
                continue;
            if (entry.vr == VR_SQ) {
                if (depth < maxDepth)
                    set.push_back(sequence(entry.tag, maxDepth, depth));
                continue;
            }
            set.push_back(leaf(entry));
        }
        return set;
    }

private:
    struct PoolEntry {
        unsigned int tag;
        DICT_VR vr;
        int vm;  // as in the dictionary: n > 0 exactly n (kept to at most n), 0 open, -n up to n
    };

    std::mt19937 rng;

    static const std::vector<PoolEntry>& pool()
    {
        static const std::vector<PoolEntry> entries = {
            {0x00080008, VR_CS, 0},  {0x00080018, VR_UI, 1},  {0x0008001A, VR_UI, 0},  {0x00080020, VR_DA, 1},
            {0x0008002A, VR_DT, 1},  {0x00080030, VR_TM, 1},  {0x00080050, VR_SH, 1},  {0x00080054, VR_AE, 0},
            {0x00080060, VR_CS, 1},  {0x00080070, VR_LO, 1},  {0x00080081, VR_ST, 1},  {0x00080094, VR_SH, 0},
            {0x00080304, VR_US, 0},  {0x00081048, VR_PN, 0},  {0x00081110, VR_SQ, 1},  {0x00081115, VR_SQ, 1},
            {0x00081140, VR_SQ, 1},  {0x00081160, VR_IS, 0},  {0x00081161, VR_UL, 0},  {0x00081163, VR_FD, 2},
            {MODEL_PRIVATE_UN_TAG, VR_UN, 1},
            {0x00100010, VR_PN, 1},  {0x00100028, VR_US, 3},  {0x00101010, VR_AS, 1},  {0x00101030, VR_DS, 1},
            {0x00102000, VR_LO, 0},  {0x00104000, VR_LT, 1},  {0x00181046, VR_DS, 0},  {0x00181200, VR_DA, 0},
            {0x00181201, VR_TM, 0},  {0x00182043, VR_FL, 2},  {0x00182044, VR_FL, 3},  {0x00280009, VR_AT, 0},
            {0x00280010, VR_US, 1},  {0x00281041, VR_SS, 1},  {0x00281201, VR_OW, 1},  {0x00282000, VR_OB, 1},
            {0x00286120, VR_SS, 1},  {0x00321066, VR_UT, 1},  {0x0040A13A, VR_DT, 0},  {0x0040A161, VR_FD, 0},
            {0x0040A162, VR_SL, 0},  {0x0040A730, VR_SQ, 1},
        };
        return entries;
    }

    int uniform(int low, int high) { return std::uniform_int_distribution<int>(low, high)(rng); }
    bool chance(int percent) { return uniform(0, 99) < percent; }

    std::string format(const char* fmt, ...) __attribute__((format(printf, 2, 3)))
    {
        char out[128];
        va_list args;
        va_start(args, fmt);
        vsnprintf(out, sizeof out, fmt, args);
        va_end(args);
        return out;
    }

    std::string chars(const char* alphabet, int low, int high)
    {
        std::string out;
        int n = uniform(low, high);
        size_t size = strlen(alphabet);
        for (int i = 0; i < n; ++i)
            out += alphabet[uniform(0, static_cast<int>(size) - 1)];
        return out;
    }

    // Text with no blanks (spaces or control bytes) at either end: the
    // library strips them.
    std::string trimmedText(const char* alphabet, int low, int high)
    {
        std::string out = chars(alphabet, low, high);
        if (!out.empty() && static_cast<unsigned char>(out.front()) <= ' ')
            out.front() = 'A';
        if (!out.empty() && static_cast<unsigned char>(out.back()) <= ' ')
            out.back() = 'Z';
        return out;
    }

    std::string seconds()
    {
        int whole = uniform(0, 59);
        return chance(50) ? format("%02d", whole) : format("%02d.%06d", whole, uniform(1, 999999));
    }

    std::string value(DICT_VR vr)
    {
        static const char* const upper = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_ ";
        static const char* const mixed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 .,-()/";
        static const char* const long_ = "abcdefghijklmnopqrstuvwxyz ABCDEFGHIJ0123456789.,;:-\\\r\n";
        switch (vr) {
        case VR_AE: return trimmedText("ABCDEFGHIJKLMNOPQRSTUVWXYZ_0123456789", 1, 16);
        case VR_AS: return format("%03d%c", uniform(0, 999), "DWMY"[uniform(0, 3)]);
        case VR_AT: return format("(%04x,%04x)", uniform(0, 0xFFFF), uniform(0, 0xFFFF));
        case VR_CS: return trimmedText(upper, 1, 16);
        case VR_DA: return format("%04d%02d%02d", uniform(1900, 2100), uniform(1, 12), uniform(1, 28));
        case VR_DS: return chance(50) ? format("%d", uniform(-99999, 99999)) : format("%d.%d", uniform(-999, 999), uniform(0, 9999));
        case VR_DT: {
            std::string out = format("%04d%02d%02d%02d%02d", uniform(1900, 2100), uniform(1, 12), uniform(1, 28),
                                     uniform(0, 23), uniform(0, 59)) + seconds();
            if (chance(50))
                out += format("%c%02d%02d", chance(50) ? '+' : '-', uniform(1, 11), uniform(0, 59));
            return out;
        }
        case VR_FL: case VR_FD: return format("%g", uniform(-4000, 4000) / 8.0);
        case VR_IS: return format("%d", uniform(-99999999, 99999999));
        case VR_LO: return trimmedText(mixed, 1, 64);
        case VR_LT: case VR_ST: case VR_UT: return trimmedText(long_, 1, vr == VR_UT ? 1200 : 300);
        case VR_PN: {
            std::string out = trimmedText("ABCDEFGHIJKLMNOPQRSTUVWXYZ", 1, 12);
            int parts = uniform(0, 4);
            for (int i = 0; i < parts; ++i)
                out += "^" + trimmedText("abcdefghijklmnopqrstuvwxyz", 1, 10);
            return out;
        }
        case VR_SH: return trimmedText(mixed, 1, 16);
        case VR_SL: return format("%d", static_cast<int>(rng()));
        case VR_SS: return format("%d", uniform(-32768, 32767));
        case VR_TM: return format("%02d%02d", uniform(0, 23), uniform(0, 59)) + seconds();
        case VR_UI: {
            std::string out = format("1.2.%d", uniform(1, 999));
            int parts = uniform(0, 8);
            for (int i = 0; i < parts; ++i)
                out += format(".%d", uniform(0, 99999));
            return out;
        }
        case VR_UL: return format("%d", uniform(0, 0x7FFFFFFF));
        case VR_US: return format("%d", uniform(0, 65535));
        default: return "";
        }
    }

    ModelElem leaf(const PoolEntry& entry)
    {
        ModelElem elem{entry.tag, entry.vr, {}, {}, {}};
        if (modelIsRaw(entry.vr)) {
            int n = uniform(1, 300);
            if (entry.vr == VR_OW)
                n += n % 2;
            for (int i = 0; i < n; ++i)
                elem.raw.push_back(static_cast<unsigned char>(rng()));
            return elem;
        }
        int count = 1;
        bool singleText = entry.vr == VR_LT || entry.vr == VR_ST || entry.vr == VR_UT;
        if (!singleText && entry.vm > 0)
            count = uniform(1, entry.vm);
        else if (!singleText && entry.vm < 0)
            count = uniform(1, -entry.vm);
        else if (!singleText)
            count = uniform(1, 5);
        for (int i = 0; i < count; ++i)
            elem.texts.push_back(value(entry.vr));
        return elem;
    }

    ModelElem sequence(unsigned int tag, int maxDepth, int depth)
    {
        ModelElem elem{tag, VR_SQ, {}, {}, {}};
        int items = uniform(0, 3);
        for (int i = 0; i < items; ++i)
            elem.items.push_back(dataSet(maxDepth, depth + 1));
        return elem;
    }
};

#endif
