#include "Basic/FendrakeStdLib/FendrakeCircularBufferLight.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

namespace {
FendrakeUint8Array Block(const std::string& iText) {
    return FendrakeUint8Array(reinterpret_cast<const unsigned char*>(iText.data()),
                              static_cast<unsigned>(iText.size()));
}

std::string Read(FendrakeCircularBufferLight& ioBuffer, unsigned iLength) {
    char out[64];
    const unsigned count = ioBuffer.ReadFromBuffer(out, iLength < 64 ? iLength : 64);
    return std::string(out, count);
}
} // namespace

TEST(FendrakeCircularBufferLightTest, ReadsOneBlockAtATime) {
    FendrakeCircularBufferLight buffer;
    EXPECT_FALSE(buffer.GotData());
    EXPECT_EQ("", Read(buffer, 10));
    FendrakeUint8Array first = Block("abc"), second = Block("defg");
    EXPECT_TRUE(buffer.WriteToBuffer(first));
    EXPECT_EQ(nullptr, first.GetData());
    EXPECT_TRUE(buffer.WriteToBuffer(second));
    EXPECT_EQ(7u, buffer.BytesQueued());
    EXPECT_EQ("abc", Read(buffer, 10));
    EXPECT_EQ("de", Read(buffer, 2));
    EXPECT_TRUE(buffer.GotData());
    EXPECT_EQ(2u, buffer.BytesQueued());
    EXPECT_EQ("fg", Read(buffer, 10));
    EXPECT_FALSE(buffer.GotData());
    EXPECT_EQ(0u, buffer.BytesQueued());
}

TEST(FendrakeCircularBufferLightTest, TheHundredAndFirstBlockIsLost) {
    FendrakeCircularBufferLight buffer;
    FendrakeUint8Array empty;
    EXPECT_TRUE(buffer.WriteToBuffer(empty));
    EXPECT_EQ(0, buffer.size());
    for (int i = 0; i < 100; ++i) {
        FendrakeUint8Array block = Block("x");
        ASSERT_TRUE(buffer.WriteToBuffer(block));
    }
    EXPECT_FALSE(buffer.Overflow());
    FendrakeUint8Array lost = Block("lost");
    EXPECT_FALSE(buffer.WriteToBuffer(lost));
    EXPECT_EQ(nullptr, lost.GetData());
    EXPECT_TRUE(buffer.Overflow());
    EXPECT_EQ(100u, buffer.BytesQueued());
    EXPECT_EQ("x", Read(buffer, 10));
    FendrakeUint8Array next = Block("y");
    EXPECT_TRUE(buffer.WriteToBuffer(next));
    EXPECT_TRUE(buffer.Overflow());
}

// One writer, one reader: the reader gets the accepted blocks' bytes in order.
TEST(FendrakeCircularBufferLightTest, WriterAndReaderOnTwoThreads) {
    FendrakeCircularBufferLight buffer;
    std::string accepted, received;
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (int i = 0; i < 3000; ++i) {
            const std::string text(1 + i % 23, static_cast<char>('a' + i % 26));
            FendrakeUint8Array block = Block(text);
            if (buffer.WriteToBuffer(block))
                accepted += text;
        }
        done = true;
        buffer.AbortRemove();
    });
    for (;;) {
        const std::string part = Read(buffer, 1 + received.size() % 40);
        received += part;
        if (!part.empty())
            continue;
        if (done && !buffer.GotData())
            break;
        buffer.waitForData(1000);
    }
    writer.join();
    EXPECT_EQ(accepted, received);
    EXPECT_FALSE(accepted.empty());
}
