#include "tests/e2e/NotifyingPage.h"

#include "calling/VoiceAddress.h"

namespace dialwise::testing {
namespace {

// Polls every 100 ms; a hidden page's timers are held to about one a second, which only makes
// a command take longer to arrive.
const QByteArray kPage = R"(<!DOCTYPE html><html><head><meta charset="utf-8"><title>Voice</title></head>
<body><h1>Voice stand-in</h1><script>
var notes = {};
function report(what) { fetch('/report/' + what, {cache: 'no-store'}); }
function raise(name, title, options) {
  var n = new Notification(title, options || {});
  notes[name] = n;
  n.onshow = function () { report('show/' + name); };
  n.onclick = function () { report('click/' + name); };
  n.onclose = function () { report('close/' + name); };
  n.onerror = function () { report('error/' + name); };
  return n;
}
Notification.requestPermission().then(function (answer) {
  report('permission/' + answer + '/' + Notification.permission);
});
setInterval(function () {
  fetch('/command', {cache: 'no-store'}).then(function (r) { return r.text(); }).then(function (text) {
    var cut = text.indexOf('\n');
    if (cut < 0) return;
    var id = text.substring(0, cut);
    if (sessionStorage.getItem('command') === id) return;
    sessionStorage.setItem('command', id);
    eval(text.substring(cut + 1));
  });
}, 100);
</script></body></html>)";

} // namespace

NotifyingPage::NotifyingPage(VoiceStandIn &standIn)
    : m_standIn(standIn)
{
}

void NotifyingPage::install()
{
    m_standIn.setPage(QString::fromLatin1(voice::kCallsPath), kPage);
}

void NotifyingPage::run(const QString &script)
{
    m_standIn.setPage(QStringLiteral("/command"), QByteArray::number(m_nextCommand++) + '\n' + script.toUtf8());
}

bool NotifyingPage::waitForReport(const QString &what, int timeoutMs, int fromIndex)
{
    return m_standIn.waitForTarget(QStringLiteral("/report/") + what, timeoutMs, fromIndex);
}

bool NotifyingPage::hasReported(const QString &what, int fromIndex) const
{
    return m_standIn.requestTargets().mid(fromIndex).contains(QStringLiteral("/report/") + what);
}

QString NotifyingPage::otherOrigin() const
{
    return QStringLiteral("http://localhost:%1").arg(m_standIn.port());
}

} // namespace dialwise::testing
