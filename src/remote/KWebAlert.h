// The announcement channel: once per start the notebook may fetch one short line of text from its
// deployment's file endpoint. A line that announces a dialog names an id, a minimum run time and a page;
// the page is shown at most once per id in the life of the installation, never within five minutes of use
// of the last one, and only from an allowed site. The alert fetches and judges; it shows nothing itself.
// Everything it reads from the network is treated as hostile: a line that fails any test is as if nothing
// had come.
#pragma once

#include <QByteArray>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <cstdint>
#include <functional>
#include <optional>

#include "input/EditorViewport.h"
#include "remote/WebFetch.h"

namespace velumen {

class UserDefaults;
class KWebAlert;

// The one who would show the dialog.
class KWebAlertDelegate {
  public:
    virtual ~KWebAlertDelegate() = default;
    // Whether a dialog with the key `dialogKey` ("dlg-" and its id) may show now; false vetoes it before it
    // is marked shown. By default it may.
    virtual bool KWebAlert(class KWebAlert& alert, const QString& dialogKey);
};

class KWebAlert {
  public:
    // The version and edition the notebook announces itself as.
    static constexpr std::int64_t kVersion = 720;
    static constexpr std::int64_t kEdition = 1;
    static constexpr const char* kAppSetupToken = "AppSetupToken";

    // The alert for the text at `url`, sent with `version` and `edition`; the method is "GET".
    KWebAlert(UserDefaults& defaults, QString url, std::int64_t version, std::int64_t edition);

    // The running program's device class (the "m" parameter) and the allowed prefixes of pages.
    DeviceProfile profile = DeviceProfile::Tablet;
    QStringList allowedPrefixes;
    KWebAlertDelegate* delegate = nullptr;
    // When set, the answer is dropped (no judgement, no completion) once this object is gone: the owner of
    // the delegate and the completion.
    QPointer<QObject> context;
    // The network and its limits; the deadline is ten seconds unless a test shortens it.
    QNetworkAccessManager* network = nullptr;
    WebFetchLimits limits{64 * 1024, 10000};

    // Fetches the text. With an answer, the completion gets urlForData's result (a page or nothing) from
    // the event loop; without one (no address, a network failure, a time-out, too large) it is never called.
    void checkForAlertWithCompletion(std::function<void(std::optional<QUrl>)> completion);
    // The body sent with the request: run time, whether it reached "rtt", the installation identifier, the
    // device class, the system version (percent-escaped), version and edition.
    QByteArray requestBody();

    // The judgement of a fetched text, each test in turn; the first that fails gives nothing:
    // it is UTF-8, starts with "dlg" and has at least 19 characters (a line end after it not counted); the
    // dialog key ("dlg-" and the four characters at 8) has not been marked shown; the run time reaches the
    // minutes at 13 (four characters, read as a decimal prefix); five minutes of run time lie since the last
    // dialog shown; the address from position 18 is not empty and passes the prefix test; the delegate
    // does not veto. Then the key is marked shown and the run time of this dialog kept, the store forced
    // to disk, and the address returned as written.
    std::optional<QUrl> urlForData(const QByteArray& data);

    // The installation's identifier: "AppSetupToken", made and stored on first use as the time since
    // 1 January 2001 in hundredths of seconds, "_", and a random 32-bit number.
    QString getUniqueID();

    const QString& dialogKey() const { return _dlgId; }
    std::int64_t dialogRuntime() const { return _dlgRuntime; }
    const QString& alertUrlString() const { return _alertUrlString; }

  private:
    UserDefaults& defaults_;
    QString _dlgId;
    std::int64_t _dlgRuntime = 0;
    QByteArray _httpMethod = "GET";
    QString _alertUrlString;
    std::int64_t _version;
    std::int64_t _edition;
};

// The leading decimal number of `text` as the platform's integer reading does it: blanks skipped, an
// optional sign, digits up to the first other character; 0 when there are none.
std::int64_t leadingInteger(const QString& text);

}  // namespace velumen
