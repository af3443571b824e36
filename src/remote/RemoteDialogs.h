// The widgets of the start-up messages: what is new in this version, the request for a rating, the
// cross-promotion, and the web dialog of an announcement, each a sheet over the editor. installRemoteDialogs
// connects them to the start-up order of RemoteMessages.
#pragma once

#include <QDialog>
#include <QPointer>
#include <QUrl>
#include <functional>

#include "input/EditorViewport.h"

class QTextBrowser;

namespace velumen {

class KWebDialog;
class RemoteMessages;

// The news of this version, from the top, a narrower layout on a phone.
class WhatsNewDialog : public QDialog {
  public:
    explicit WhatsNewDialog(DeviceProfile profile, QWidget* parent = nullptr);
    QTextBrowser* textView() const { return _textView; }

  private:
    QTextBrowser* _textView = nullptr;
};

// Asks for a rating: "Rate" opens the rating page on the desktop (an http or https address only), "Not now"
// only closes.
class PleaseRateDialog : public QDialog {
  public:
    PleaseRateDialog(DeviceProfile profile, QUrl ratingPage, QWidget* parent = nullptr);
    void okTapped();
    void cancelTapped();
    std::function<void(const QUrl&)> openExternally;

  private:
    QUrl ratingPage_;
};

// The dialogs of `messages`, over `editor`. Also tells `messages` whether anything is presented: a modal
// window of the application or one of these dialogs in view.
void installRemoteDialogs(RemoteMessages& messages, QWidget& editor);

}  // namespace velumen
