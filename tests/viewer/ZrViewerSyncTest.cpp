// The viewer follows the host's changes as the host reports them, and draws again only the
// windows that changed.
#include <gtest/gtest.h>
#include <QTest>

#include <map>
#include <string>

#include "hostlink/ZrPluginFuncVeldra.h"
#include "refhost/ZrRefHost.h"
#include "viewer/ZrViewerMainWindow.h"

TEST(ZrViewerSync, APluginsChangeRedrawsOnlyTheWindowItChanged) {
  ZrRefHost host;
  ZrRefHostThread server(host);
  ASSERT_TRUE(server.Start(0));
  {
    ZrViewerMainWindow viewer(host, server.Port());
    const int32_t kept = host.AddImageWindow(ZrFloatMatrix(8, 6));
    const int32_t changed = host.AddImageWindow(ZrFloatMatrix(8, 6));
    QTRY_VERIFY(viewer.WindowWidget(kept) != nullptr && viewer.WindowWidget(changed) != nullptr);
    const qint64 keptPicture = viewer.WindowWidget(kept)->View()->Picture().cacheKey();
    const qint64 changedPicture = viewer.WindowWidget(changed)->View()->Picture().cacheKey();

    ZrPluginFuncVeldra client("localhost", server.Port());
    client.SubConnect();
    ZrFloatMatrix image(8, 6);
    image.Fill(3.0f);
    client.ImageSet(changed, image);
    client.ImageKeyStringSet(changed, {{"note", "a<b"}});
    QTRY_COMPARE(viewer.WindowWidget(changed)->Window().keyString.count("note"), size_t{1});
    EXPECT_EQ(viewer.WindowWidget(changed)->Window().image.Data[0], 3.0f);
    EXPECT_NE(viewer.WindowWidget(changed)->View()->Picture().cacheKey(), changedPicture);
    EXPECT_EQ(viewer.WindowWidget(kept)->View()->Picture().cacheKey(), keptPicture);

    // Gets change nothing, so nothing is drawn again.
    const qint64 settled = viewer.WindowWidget(changed)->View()->Picture().cacheKey();
    ZrFloatMatrix back;
    client.ImageGet(changed, back, false);
    QTest::qWait(50);
    EXPECT_EQ(viewer.WindowWidget(changed)->View()->Picture().cacheKey(), settled);
  }
  server.Stop();
}
