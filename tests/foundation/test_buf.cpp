#include <gtest/gtest.h>

#include <cerrno>
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

TEST(BufMemory, OwnsItsBlock)
{
    void* block = malloc(32);
    DcBuf* buf = new DcBuf(block, 32, UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(buf->getType(), BUF_MEMORY);
    EXPECT_EQ(buf->getBuf(), block);
    EXPECT_EQ(buf->getHandle(), -1);
    EXPECT_EQ(buf->getAllocLen(), 32u);
    EXPECT_EQ(buf->getLen(), 32u);
    EXPECT_EQ(buf->getXferSyn(), UID_LITTLE_ENDIAN_EXPLICIT);
    buf->setLen(10);
    EXPECT_EQ(buf->getLen(), 10u);
    EXPECT_EQ(buf->getAllocLen(), 32u);
    delete buf;  // the sanitizer build reports a leak if the block were kept
}

TEST(BufMemory, SetBufReleasesTheOldBlock)
{
    DcBuf buf(malloc(8), 8, UID_LITTLE_ENDIAN_IMPLICIT);
    void* replacement = malloc(16);
    buf.setBuf(replacement);
    EXPECT_EQ(buf.getBuf(), replacement);
    buf.setBuf(replacement);  // the same block is kept, not released
    EXPECT_EQ(buf.getBuf(), replacement);
}

TEST(BufDisk, OwnsAndClosesItsHandle)
{
    int fd = openScratchFile();
    {
        DcBuf buf(fd, 128, 64, UID_BIG_ENDIAN_EXPLICIT);
        EXPECT_EQ(buf.getType(), BUF_DISK);
        EXPECT_EQ(buf.getBuf(), nullptr);
        EXPECT_EQ(buf.getHandle(), fd);
        EXPECT_EQ(buf.getOffset(), 128);
        EXPECT_EQ(buf.getLen(), 64u);
        EXPECT_TRUE(isOpen(fd));
    }
    EXPECT_FALSE(isOpen(fd));
}

TEST(BufDisk, SetHandleMinusOneClosesTheFile)
{
    int fd = openScratchFile();
    DcBuf buf(fd, 0, 10, UID_LITTLE_ENDIAN_EXPLICIT);
    buf.setHandle(-1);
    EXPECT_FALSE(isOpen(fd));
    EXPECT_EQ(buf.getHandle(), -1);
}

TEST(BufDisk, SetHandleReplacesTheOpenFile)
{
    int first = openScratchFile();
    int second = openScratchFile();
    {
        DcBuf buf(first, 0, 10, UID_LITTLE_ENDIAN_EXPLICIT);
        buf.setHandle(second);
        EXPECT_FALSE(isOpen(first));
        EXPECT_TRUE(isOpen(second));
    }
    EXPECT_FALSE(isOpen(second));
}

TEST(BufCopy, SharesTheDataAndReleasesNothing)
{
    int fd = openScratchFile();
    DcBufList list;
    DcBuf* owner = list.add(new DcBuf(fd, 4, 20, UID_LITTLE_ENDIAN_EXPLICIT));
    list.add(new DcBuf(malloc(4), 4, UID_LITTLE_ENDIAN_EXPLICIT));
    {
        DcBuf copy(*owner);
        EXPECT_EQ(copy.getHandle(), fd);
        EXPECT_EQ(copy.getOffset(), 4);
        EXPECT_EQ(copy.getType(), BUF_DISK);
        EXPECT_EQ(copy.next(), nullptr);
        EXPECT_EQ(copy.previous(), nullptr);
        copy.setHandle(-1);  // a copy closes nothing
    }
    EXPECT_TRUE(isOpen(fd));
    {
        DcBuf assigned;
        assigned = *list.last();
        EXPECT_EQ(assigned.getBuf(), list.last()->getBuf());
    }
    EXPECT_EQ(owner->next(), list.last());
}

TEST(BufMove, LeavesExactlyOneOwner)
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

TEST(BufList, DestroysItsBuffers)
{
    int fd = openScratchFile();
    {
        DcBufList list;
        list + new DcBuf(fd, 0, 1, UID_LITTLE_ENDIAN_EXPLICIT) + new DcBuf(malloc(2), 2, UID_NONE);
        EXPECT_EQ(list.first()->getHandle(), fd);
        EXPECT_EQ(list.first()->next(), list.last());
        EXPECT_EQ(list.last()->previous(), list.first());
    }
    EXPECT_FALSE(isOpen(fd));
}
