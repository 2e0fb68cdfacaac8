// Captures with next to nothing in them, or far too much; files that vanish; places that cannot be written to.
#include "Capture/CaptureError.h"
#include "Drawing/PictureFile.h"
#include "NetrondoApp/Support/Traffic.h"
#include "NetrondoApp/Support/Window.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>

namespace netrondo::test {
namespace {

class BadInputTest : public WindowTest {
protected:
    TempFile captureOf(std::uint32_t frames, std::uint32_t hosts, std::uint64_t secondsApart = 1) const
    {
        PcapBytes capture;
        for (std::uint32_t i = 0; i < frames; ++i)
            capture.frame(frameBetween(1 + i % hosts, 1 + (i + 1) % hosts), {.seconds = 1000 + i * secondsApart});
        return TempFile(capture);
    }
};

TEST_F(BadInputTest, AnEmptyCaptureIsSaidToBeEmpty)
{
    open(TempFile(PcapBytes()));
    EXPECT_TRUE(session().isOpen());
    EXPECT_TRUE(picture().nodes().empty());
    EXPECT_TRUE(shownText().startsWith(QStringLiteral("0 frames"))) << shownText().toStdString();
    EXPECT_EQ(circle().emptyText(), QStringLiteral("This capture holds no frames."));
    circle().grab();
    timeline().grab();
}

TEST_F(BadInputTest, OneHostThatTalksToItselfMakesNoConversationAndTheViewSaysSo)
{
    open(captureOf(3, 1));
    EXPECT_TRUE(picture().nodes().empty());
    EXPECT_EQ(circle().emptyText(),
              QStringLiteral("None of the 3 frames went between two IP hosts. By MAC address there "
                             "may be more to see."));
    QTest::keyClick(&circle(), Qt::Key_Right);
    QTest::keyClick(&circle(), Qt::Key_Down);
    window->tidy();
    settle();
    EXPECT_FALSE(selection().selected());
}

TEST_F(BadInputTest, TwoHostsSitOpposite)
{
    open(captureOf(4, 2));
    ASSERT_EQ(picture().nodes().size(), 2u);
    const auto middle = QPointF(circle().width(), circle().height()) / 2;
    const auto sum = picture().positionOf(picture().nodes()[0]) + picture().positionOf(picture().nodes()[1]);
    EXPECT_NEAR(sum.x() / 2, middle.x(), 1);
    EXPECT_NEAR(sum.y() / 2, middle.y(), 1);
}

TEST_F(BadInputTest, FiftyThousandHosts)
{
    open(captureOf(60'000, 50'000));
    EXPECT_EQ(session().talks()->hosts().size(), 50'000u);
    EXPECT_EQ(picture().chords.size(), 250u);
    setOptions([](ViewOptions& options) { options.limit = 0; });
    EXPECT_EQ(picture().nodes().size(), 50'000u);
    EXPECT_TRUE(picture().nodeAt(picture().positionOf(picture().nodes().front())).has_value());
    const auto before = circle().angles();
    window->tidy();
    EXPECT_TRUE(message().contains(QStringLiteral("50,000 hosts are too many to be tidied")))
        << message().toStdString();
    EXPECT_EQ(circle().angles(), before);
}

TEST_F(BadInputTest, ACaptureWithoutTimes)
{
    PcapBytes capture;
    for (std::uint32_t i = 0; i < 10; ++i)
        capture.frame(frameBetween(i, i + 1));
    open(TempFile(capture));
    EXPECT_EQ(session().talks()->talks().size(), 10u);
    timeline().grab();
    QTest::keyClick(&timeline(), Qt::Key_Right);
    QTest::keyClick(&timeline(), Qt::Key_Space);
    EXPECT_FALSE(timeline().span());
    EXPECT_FALSE(timeline().isPlaying());
}

TEST_F(BadInputTest, NanosecondsAreAnnounced)
{
    PcapBytes capture(PcapBytes::Header{.nanoseconds = true});
    capture.frame(frameBetween(1, 2), {.seconds = 1, .fraction = 999'999'999});
    open(TempFile(capture));
    EXPECT_TRUE(message().contains(QStringLiteral("nanoseconds"))) << message().toStdString();
}

TEST_F(BadInputTest, FramesThatAreNotAnalysedAreAccountedFor)
{
    PcapBytes capture(PcapBytes::Header{.linkType = 105});
    capture.frame(frameBetween(1, 2));
    capture.frame(frameBetween(1, 2));
    open(TempFile(capture));
    EXPECT_TRUE(message().startsWith(QStringLiteral("Not analysed: 2 frames of link type"))) << message().toStdString();
    EXPECT_TRUE(shownText().startsWith(QStringLiteral("0 of 2 frames"))) << shownText().toStdString();
}

TEST_F(BadInputTest, AFileThatEndsInsideOfARecordHeaderIsTold)
{
    const auto whole = captureOf(50, 4);
    std::filesystem::resize_file(whole.path(),
                                 std::filesystem::file_size(whole.path()) - frameBetween(1, 2).size() - 8);
    open(whole);
    EXPECT_FALSE(session().isOpen());
    EXPECT_EQ(message(), asQt(whole.path().string() + ": " + CaptureError::truncatedFrame().errorDescription()));
}

class FollowTest : public WindowTest {
protected:
    static void addTo(const std::filesystem::path& path, std::uint32_t a, std::uint32_t b)
    {
        static std::uint64_t seconds = 1000;
        const PcapBytes capture = PcapBytes().frame(frameBetween(a, b), {.seconds = ++seconds});
        append(path, Bytes(capture).subspan(24));
    }
    void follow(const std::filesystem::path& path)
    {
        session().setFollowInterval(30);
        window->follow(asQt(path.string()));
        ASSERT_TRUE(eventually([&] { return session().isOpen(); }));
        settle();
    }
};

TEST_F(FollowTest, WhatIsAddedAppearsAndHostsKeepTheirPlaces)
{
    const TempFile file(PcapBytes().frame(frameBetween(1, 2), {.seconds = 1}));
    follow(file.path());
    EXPECT_TRUE(shownText().contains(QStringLiteral("following")));
    const auto before = circle().angles();
    for (std::uint32_t i = 2; i < 8; ++i)
        addTo(file.path(), i, i + 1);
    ASSERT_TRUE(eventually([&] { return session().talks()->hosts().size() == 8; }));
    settle();
    EXPECT_EQ(picture().nodes().size(), 8u);
    for (const auto& [address, angle] : before)
        EXPECT_EQ(circle().angles().at(address), angle);
    session().stopFollowing();
    settle();
    EXPECT_FALSE(session().isFollowing());
    EXPECT_EQ(session().talks()->hosts().size(), 8u);
}

TEST_F(FollowTest, AFileThatVanishesIsToldAndWhatWasSeenStays)
{
    auto folder = std::make_unique<TempFolder>();
    const auto path = *folder / "gone.pcap";
    append(path, PcapBytes().frame(frameBetween(1, 2), {.seconds = 1}));
    follow(path);
    std::filesystem::remove(path);
    ASSERT_TRUE(eventually([&] { return !message().isEmpty(); }));
    EXPECT_TRUE(message().startsWith(asQt(path.string()))) << message().toStdString();
    EXPECT_EQ(session().talks()->talks().size(), 1u);
    EXPECT_TRUE(session().isFollowing()) << "it may come back";
    session().stopFollowing();
    QTest::qWait(50);
    EXPECT_EQ(session().talks()->talks().size(), 1u);
}

class ExportTest : public WindowTest {
protected:
    void SetUp() override
    {
        WindowTest::SetUp();
        open(sample());
    }
    void exportTo(const std::filesystem::path& path)
    {
        exportWith([&] { window->exportPicture(asQt(path.string())); });
    }
    TempFolder folder_;
};

TEST_F(ExportTest, ThePictureIsWrittenInTheFormatOfItsName)
{
    for (const auto& [name, begins] : {std::pair{"a.png", "\x89PNG"}, {"a.svg", "<?xml"}, {"a.pdf", "%PDF"}}) {
        exportTo(folder_ / name);
        std::ifstream in(folder_ / name, std::ios::binary);
        std::string start(std::string_view(begins).size(), ' ');
        in.read(start.data(), static_cast<std::streamsize>(start.size()));
        EXPECT_EQ(start, begins) << message().toStdString();
        EXPECT_TRUE(message().contains(QLatin1String(name)));
    }
}

TEST_F(ExportTest, AnotherNameIsRefusedWithTheReason)
{
    exportTo(folder_ / "a.bmp");
    EXPECT_TRUE(message().contains(QStringLiteral(".svg"))) << message().toStdString();
    EXPECT_FALSE(std::filesystem::exists(folder_ / "a.bmp"));
}

TEST_F(ExportTest, AForbiddenPlaceIsToldAndNothingIsLeftThere)
{
    exportTo("/proc/netrondo.svg");
    EXPECT_TRUE(message().startsWith(QStringLiteral("/proc/netrondo.svg: "))) << message().toStdString();
    EXPECT_TRUE(message().endsWith(QStringLiteral("The picture was not written."))) << message().toStdString();
}

TEST(PictureFile, WhereAFileFindsNoRoomTheReasonIsToldAndTheEarlierOneStays)
{
    const TempFolder folder;
    const auto path = folder / "picture.png";
    append(path, Bytes(ByteVector(100, 1)));
    const auto saveWithLittleRoom = [&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit room{4096, 4096}; // what a file may grow to: as good as a full disk
        ::setrlimit(RLIMIT_FSIZE, &room);
        const auto saved = save(QByteArray(100'000, 'x'), path.string());
        std::_Exit(!saved && saved.error().description == "File too large" ? 0 : 1);
    };
    EXPECT_EXIT(saveWithLittleRoom(), testing::ExitedWithCode(0), "");
    EXPECT_EQ(std::filesystem::file_size(path), 100u);
}

TEST_F(ExportTest, AFullDeviceIsTold)
{
    std::filesystem::create_symlink("/dev/full", folder_ / "full.svg");
    exportTo(folder_ / "full.svg");
    EXPECT_TRUE(message().contains(QStringLiteral("No space left"))) << message().toStdString();
    exportWith([&] {
        window->exportTable(*static_cast<RankedModel*>(part<QTableView>("hostsList").model()),
                            asQt((folder_ / "full.svg").string()));
    });
    EXPECT_TRUE(message().contains(QStringLiteral("The list was not written."))) << message().toStdString();
}

} // namespace
} // namespace netrondo::test
