#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

#include "foundation/DcBuf.h"

namespace {

int openScratchFile()
{
    FILE* f = tmpfile();
    int fd = dup(fileno(f));
    fclose(f);
    return fd;
}

bool isOpen(int fd)
{
    return fcntl(fd, F_GETFD) != -1;
}

}

// The sanitizer build reports any block that is leaked or freed twice.
TEST(BufOwnership, MemoryBlockIsFreedWithTheBufferOrWhenReplaced)
{
    DcBuf* buf = new DcBuf(malloc(32), 32, UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(buf->getType(), BUF_MEMORY);
    buf->setLen(10);
    EXPECT_EQ(buf->getAllocLen(), 32u);
    void* replacement = malloc(16);
    buf->setBuf(replacement);
    buf->setBuf(replacement);  // the same block is kept, not released
    EXPECT_EQ(buf->getBuf(), replacement);
    delete buf;
}

TEST(BufOwnership, DiskHandleIsClosedWhenReplacedClearedOrDestroyed)
{
    int first = openScratchFile();
    int second = openScratchFile();
    {
        DcBuf buf(first, 128, 64, UID_BIG_ENDIAN_EXPLICIT);
        EXPECT_EQ(buf.getType(), BUF_DISK);
        EXPECT_EQ(buf.getBuf(), nullptr);
        buf.setHandle(second);
        EXPECT_FALSE(isOpen(first));
        EXPECT_TRUE(isOpen(second));
    }
    EXPECT_FALSE(isOpen(second));
    int third = openScratchFile();
    DcBuf buf(third, 0, 10, UID_LITTLE_ENDIAN_EXPLICIT);
    buf.setHandle(-1);
    EXPECT_FALSE(isOpen(third));
    EXPECT_EQ(buf.getHandle(), -1);
}

TEST(BufOwnership, CopiesShareTheDataReleaseNothingAndAreNotLinked)
{
    int fd = openScratchFile();
    DcBufList list;
    DcBuf* owner = list.add(new DcBuf(fd, 4, 20, UID_LITTLE_ENDIAN_EXPLICIT));
    list.add(new DcBuf(malloc(4), 4, UID_LITTLE_ENDIAN_EXPLICIT));
    {
        DcBuf copy(*owner);
        EXPECT_EQ(copy.getHandle(), fd);
        EXPECT_EQ(copy.getOffset(), 4);
        EXPECT_EQ(copy.next(), nullptr);
        EXPECT_EQ(copy.previous(), nullptr);
        copy.setHandle(-1);
        DcBuf assigned;
        assigned = *list.last();
        EXPECT_EQ(assigned.getBuf(), list.last()->getBuf());
    }
    EXPECT_TRUE(isOpen(fd));
    EXPECT_EQ(owner->next(), list.last());
}

TEST(BufOwnership, MoveLeavesExactlyOneOwner)
{
    int fd = openScratchFile();
    DcBuf* source = new DcBuf(fd, 16, 100, UID_BIG_ENDIAN_EXPLICIT);
    DcBuf* target = new DcBuf();
    target->move(source);
    EXPECT_EQ(source->getType(), BUF_NONE);
    EXPECT_EQ(source->getHandle(), -1);
    EXPECT_EQ(source->getBuf(), nullptr);
    EXPECT_EQ(source->getOffset(), 0);
    EXPECT_EQ(source->getLen(), 0u);
    EXPECT_EQ(source->getXferSyn(), UID_NONE);
    EXPECT_EQ(source->getAllocLen(), 100u);
    delete source;
    EXPECT_TRUE(isOpen(fd));
    EXPECT_EQ(target->getHandle(), fd);
    EXPECT_EQ(target->getOffset(), 16);
    EXPECT_EQ(target->getXferSyn(), UID_BIG_ENDIAN_EXPLICIT);
    delete target;
    EXPECT_FALSE(isOpen(fd));
}
