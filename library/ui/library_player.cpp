#include "library/ui/library_player.h"

#include <utility>

#include "platform/log.h"
#include "services/audition.h"
#include "services/settings.h"
#include "ui/patch_player.h"
#include "ui/plain_text.h"
#include "ui/window_context.h"

namespace tonalith {

namespace {

constexpr int kWaitMs = 150;  // who holds an arrow key hears the patch where he stops

}  // namespace

LibraryPlayer::LibraryPlayer(ZKLibDoc& library, WindowContext& context, QObject* parent)
    : QObject(parent),
      library_(library),
      context_(context),
      sending_(context, [this](const DeskResult& result, const DataFile& sent) { Sent(result, sent); }) {
  wait_.setSingleShot(true);
  wait_.setInterval(kWaitMs);
  connect(&wait_, &QTimer::timeout, this, [this] {
    if (const Result played = Play(waiting_); !played.ok()) MonitorMsg("%s", played.text.c_str());
  });
}

void LibraryPlayer::GoneTo(EntryId entry) {
  wait_.stop();
  Settings& settings = context_.settings();
  if (entry == 0 || !PlaysWhatIsSelected(settings) || settings.Value(SettingId::MainLibAudition) == 0) return;
  waiting_ = entry;
  wait_.start();
}

Result LibraryPlayer::Play(EntryId entry) {
  Drop();
  const DataFile* data = library_.Data(entry);
  if (!data) return Result::Failure("No patch is selected.");
  DataFilePtr copy(DupForUser(data));
  if (!copy) return Result::Failure("There is not enough memory.");
  context_.UpdateFromStudio(copy.get());
  if (Result can = context_.player().CanPlay(*copy); !can.ok()) return can;
  const Result sending = sending_.Send(std::move(copy), {});
  if (sending.ok()) emit Say(tr("Plays %1").arg(ShownLatin1(library_.NameOf(entry))));
  return sending;
}

void LibraryPlayer::Sent(const DeskResult& result, const DataFile& sent) {
  if (!result.ok) return emit Say(ShownUtf8(result.sentence));
  // "SysEx only" sends without tones.
  constexpr int kSysExOnly = 2;
  if (context_.settings().Value(SettingId::MainLibAudition) == kSysExOnly) return;
  if (const Result played = context_.player().Sound(this, sent); !played.ok()) emit Say(ShownUtf8(played.text));
}

void LibraryPlayer::Drop() {
  wait_.stop();
  sending_.Drop();
}

void LibraryPlayer::Stop() {
  Drop();
  context_.player().Stop(this);
}

}  // namespace tonalith
