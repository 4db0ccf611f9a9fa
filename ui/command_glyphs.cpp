#include "ui/command_glyphs.h"

#include <array>
#include <utility>

namespace tonalith {

namespace {

constexpr auto kCommandGlyphs = std::to_array<std::pair<CommandId, Glyph>>({
    {CommandId::FileNewEditor, Glyph::New},
    {CommandId::FileNewStudio, Glyph::Studio},
    {CommandId::FileNewSet, Glyph::Folder},
    {CommandId::FileOpen, Glyph::Open},
    {CommandId::FileClose, Glyph::Close},
    {CommandId::FileSave, Glyph::Save},
    {CommandId::FileSaveAs, Glyph::SaveAs},
    {CommandId::FileInstallModule, Glyph::Import},
    {CommandId::FilePrint, Glyph::Print},
    {CommandId::FileExit, Glyph::Quit},
    {CommandId::SendDataFile, Glyph::Send},
    {CommandId::SendSysEx, Glyph::Send},
    {CommandId::SendMidiFile, Glyph::Send},
    {CommandId::EditUndo, Glyph::Undo},
    {CommandId::EditRedo, Glyph::Redo},
    {CommandId::EditCut, Glyph::Cut},
    {CommandId::EditCopy, Glyph::Copy},
    {CommandId::EditPaste, Glyph::Paste},
    {CommandId::EditRename, Glyph::Rename},
    {CommandId::EditFind, Glyph::Search},
    {CommandId::EditGoTo, Glyph::Right},
    {CommandId::EditOpen, Glyph::Open},
    {CommandId::ViewSysEx, Glyph::SysEx},
    {CommandId::EditQuickMenu, Glyph::More},
    {CommandId::OptionsPreferences, Glyph::Settings},
    {CommandId::OptionsAudition, Glyph::Audition},
    {CommandId::MidiGet, Glyph::Get},
    {CommandId::MidiTransmit, Glyph::Send},
    {CommandId::SetGetAll, Glyph::Get},
    {CommandId::SetSendAll, Glyph::Send},
    {CommandId::SetInitialize, Glyph::New},
    {CommandId::SetClear, Glyph::Remove},
    {CommandId::SetLoad, Glyph::Import},
    {CommandId::SetTakeOut, Glyph::Export},
    {CommandId::SetLoadLink, Glyph::Link},
    {CommandId::SetSaveLink, Glyph::Link},
    {CommandId::SetResolve, Glyph::Link},
    {CommandId::SetSettings, Glyph::Settings},
    {CommandId::FileNewLibrary, Glyph::Tag},
    {CommandId::LibraryAddFiles, Glyph::Add},
    {CommandId::CollectionAddFiles, Glyph::Add},
    {CommandId::CollectionAddFolder, Glyph::Folder},
    {CommandId::CollectionLink, Glyph::Link},
    {CommandId::CollectionStop, Glyph::Stop},
    {CommandId::CollectionDelete, Glyph::Remove},
    {CommandId::LibraryAddFolder, Glyph::Folder},
    {CommandId::LibraryStop, Glyph::Stop},
    {CommandId::LibraryDelete, Glyph::Remove},
    {CommandId::LibraryNewBank, Glyph::Bank},
    {CommandId::LibraryPlay, Glyph::Audition},
    {CommandId::LibraryDuplicates, Glyph::Compare},
    {CommandId::LibrarySimilar, Glyph::Search},
    {CommandId::LibraryChooseKeys, Glyph::Tag},
    {CommandId::BankPlayPatch, Glyph::Audition},
    {CommandId::BankPlaySweep, Glyph::Play},
    {CommandId::BankStopAudition, Glyph::Stop},
    {CommandId::BankGetSelected, Glyph::Get},
    {CommandId::BankSendSelected, Glyph::Send},
    {CommandId::BankUndoSend, Glyph::Undo},
    {CommandId::MidiHistory, Glyph::History},
    {CommandId::MidiCancelTransmit, Glyph::Cancel},
    {CommandId::MidiInPorts, Glyph::Cable},
    {CommandId::MidiOutPorts, Glyph::Cable},
    {CommandId::MidiTestCable, Glyph::Cable},
    {CommandId::MidiUndoSettingsChange, Glyph::Undo},
    {CommandId::PlayChord, Glyph::Audition},
    {CommandId::PlaySequence, Glyph::Audition},
    {CommandId::PlayLastNote, Glyph::Audition},
    {CommandId::MidiPanic, Glyph::Panic},
    {CommandId::UtilitiesMidiMonitor, Glyph::Monitor},
    {CommandId::UtilitiesGraphicMonitor, Glyph::Keyboard},
    {CommandId::WindowCascade, Glyph::Windows},
    {CommandId::WindowTile, Glyph::Windows},
    {CommandId::WindowCloseAll, Glyph::Close},
    {CommandId::HelpContents, Glyph::Help},
    {CommandId::HelpShortcuts, Glyph::Keyboard},
    {CommandId::HelpAbout, Glyph::Info},
});

}  // namespace

Glyph GlyphOf(CommandId command) {
  for (const auto& [id, glyph] : kCommandGlyphs)
    if (id == command) return glyph;
  return Glyph::None;
}

}  // namespace tonalith
