#pragma once

// The one table of the number settings.  A row gives, from left to right: accessor, record field, type, section and key
// in the preferences file (none: the default holds until the user changes it), the value when the key is missing,
// lowest and highest value of the field, how the key's value becomes the field's, page of the preferences dialog (None:
// it is not shown, as what has no effect must not be), and label. The record, the accessors, the defaults and the
// checks after loading are all made from it.

// clang-format off
#define TONALITH_NUMBER_SETTINGS(X) \
  X(MainBackup, backup, U8, nullptr, nullptr, 1, 0, 1, Plain, Bank, "Keep an undo history") \
  X(MainUpdatePatch, updatePatch, U8, "Preferences", "Update Patch On Activate", 1, 0, 1, Plain, Patch, "Send the patch when its editor is activated") \
  X(MainAutoSave, autoSave, U8, nullptr, nullptr, 0, 0, 1, Plain, Miscellaneous, "Save open files automatically") \
  X(MainAutoSaveLoadDesktop, autoSaveLoadDesktop, U8, "Preferences", "Auto Save Load Desktop", 1, 0, 1, Plain, Miscellaneous, "Save the desktop at exit and load it at start") \
  X(MainSonarNameServer, sonarNameServer, U8, nullptr, nullptr, 0, 0, 1, Plain, NameServer, "Write patch names for Sonar") \
  X(MainCubaseNameServer, cubaseNameServer, U8, nullptr, nullptr, 0, 0, 1, Plain, NameServer, "Write patch names for Cubase") \
  X(MainXMLNameServer, xmlNameServer, U8, nullptr, nullptr, 0, 0, 1, Plain, XmlNameServer, "Write patch names as XML") \
  X(MainDrvDisplayMode, drvDisplayMode, U8, nullptr, nullptr, 0, 0, 255, Plain, None, "Display of the studio") \
  X(MainUseSynchronizedEditing, useSynchronizedEditing, U8, "Preferences", "Use Synchronized Editing", 1, 0, 1, Plain, Set, "Keep banks and edit buffers in step") \
  X(MainConfig, config, U16, nullptr, nullptr, 0, 0, 65535, Plain, None, "Configuration word") \
  X(MainAudition, audition, U8, nullptr, nullptr, 1, 0, 1, Plain, None, "Audition patches when they are selected") \
  X(MainEchoMode, echoMode, U8, "Preferences", "MIDIThru", 0, 0, 5, Plain, Midi, "MIDI thru") \
  X(MainVerify, verify, U8, nullptr, nullptr, 0, 0, 1, Plain, None, "Verify transmissions") \
  X(MainMidiChannel, midiChannel, U8, nullptr, nullptr, 0, 0, 15, Plain, Midi, "Default MIDI channel") \
  X(MainPortIn, portIn, U8, nullptr, nullptr, 0, 0, 255, Plain, Midi, "Default MIDI IN port") \
  X(MainPortOut, portOut, U8, nullptr, nullptr, 0, 0, 255, Plain, Midi, "Default MIDI OUT port") \
  X(MainRandom, random, U8, nullptr, nullptr, 10, 0, 100, Plain, Patch, "Randomize by (percent)") \
  X(MainPatchBayChannel, patchBayChannel, U8, nullptr, nullptr, 0, 0, 15, Plain, None, "MIDI channel of the patch bay") \
  X(MainMouseSens, mouseSens, U8, "Preferences", "Mouse Sensitivity", 1, 0, 255, Plain, Patch, "Mouse sensitivity") \
  X(MainEnlarge, enlarge, U8, nullptr, nullptr, 0, 0, 255, Plain, None, "Window scaling") \
  X(MainRightMouseButton, rightMouseButton, U8, nullptr, nullptr, 0, 0, 255, Plain, Patch, "Right mouse button") \
  X(MainPlayAfterEdit, playAfterEdit, U8, nullptr, nullptr, 0, 0, 1, Plain, Patch, "Play a note after each edit") \
  X(MainAutoUpdate, autoUpdate, U8, nullptr, nullptr, 1, 0, 1, Plain, Studio, "Update data from the instrument settings") \
  X(MainWinActivate, winActivate, U8, nullptr, nullptr, 0, 0, 1, Plain, None, "Activate windows with the mouse") \
  X(MainHelpState, helpState, U8, nullptr, nullptr, 0, 0, 255, Plain, None, "State of the help window") \
  X(MainPBayRevert, pBayRevert, U8, nullptr, nullptr, 0, 0, 1, Plain, None, "Revert the patch bay after a transfer") \
  X(MainPBayRevertNum, pBayRevertNum, U8, nullptr, nullptr, 0, 0, 127, Plain, None, "Patch bay patch to revert to") \
  X(MainAutoGroup, autoGroup, U8, nullptr, nullptr, 0, 0, 1, Plain, None, "Open new Sets automatically") \
  X(MainGrpSplit, grpSplit, U16, nullptr, nullptr, 200, 0, 65535, Plain, None, "Divider of Set windows") \
  X(MainDBaseSplit, dBaseSplit, U16, nullptr, nullptr, 200, 0, 65535, Plain, None, "Divider of Collection windows") \
  X(MainGroupViewMode, groupViewMode, U8, nullptr, nullptr, 0, 0, 255, Plain, None, "View of Set windows") \
  X(MainDelay, delay, U16, "MidiX Control", "MidiX Delay", 0, 0, 32767, Plain, Midi, "Delay between SysEx transmissions (ms)") \
  X(MainDelayMidi, delayMidi, U16, "MidiX Control", "MidiX Space", 0, 0, 32767, Plain, Midi, "Delay SysEx every n bytes") \
  X(MainMidiSlow, midiSlow, U16, "MidiX Control", "MidiX Slow", 0, 0, 32767, Plain, Midi, "Slow SysEx (ms per SysEx delay)") \
  X(MainLibAudition, libAudition, U8, nullptr, nullptr, 1, 0, 2, Plain, Library, "Audition") \
  X(MainDrvOldDisplayStyle, drvOldDisplayStyle, U8, nullptr, nullptr, 0, 0, 3, Plain, Studio, "Display style") \
  X(MainNumericPopup, numericPopup, U8, nullptr, nullptr, 1, 0, 255, Plain, Patch, "Show values while editing") \
  X(MainDisplayParameterHelp, displayParameterHelp, U8, "Preferences", "Popup Info", 2, 0, 2, Plain, Patch, "Parameter information") \
  X(MainActivateOnMouseOver, activateOnMouseOver, U8, "Preferences", "Activate On Mouse Over", 0, 0, 1, Plain, Patch, "Activate editors when the mouse is over them") \
  X(MainMouseEdit, mouseEdit, U8, "Preferences", "Mouse Direction", 1, 0, 255, Plain, Patch, "Mouse direction") \
  X(MainKnobEdit, knobEdit, U8, "Preferences", "Knob Edit", 1, 0, 255, Plain, Patch, "Knob editing style") \
  X(MainAutoPopup, autoPopup, U8, "Preferences", "Auto Popup", 0, 0, 1, Plain, Patch, "Open pop-up lists at once") \
  X(MainMasterController, masterController, U8, "Preferences", "Smart Controller", 0, 0, 128, Plain, Patch, "Smart controller number (0 is none)") \
  X(MainGridDefault, gridDefault, U8, nullptr, nullptr, 0, 0, 1, Plain, Patch, "Use the grid") \
  X(MainGridW, gridW, U8, nullptr, nullptr, 8, 1, 255, Plain, Patch, "Grid width") \
  X(MainGridH, gridH, U8, nullptr, nullptr, 8, 1, 255, Plain, Patch, "Grid height") \
  X(MainShowParentChildRelationships, showParentChildRelationships, U8, "Preferences", "UseParentChild", 1, 0, 2, Plain, None, "Parent/child relationships") \
  X(MainShowSelectedControl, showSelectedControl, U8, "Preferences", "Show Selected Controls", 1, 0, 1, Plain, Patch, "Highlight the selected control") \
  X(MainEditPatchUsingPatchNumber, editPatchUsingPatchNumber, U8, nullptr, nullptr, 0, 0, 1, Plain, None, "Edit patches by their patch number") \
  X(MainAutoConfigInstruments, autoConfigInstruments, U8, "Preferences", "AutoSense", 0, 0, 1, Plain, Studio, "Sense instruments when they are added") \
  X(MainLibNumBlend, libNumBlend, U16, nullptr, nullptr, 16, 1, 512, Plain, Library, "Results of Blend") \
  X(MainLibNumMorph, libNumMorph, U16, nullptr, nullptr, 16, 1, 512, Plain, Library, "Results of Morph") \
  X(MainLibNumMix, libNumMix, U16, nullptr, nullptr, 32, 1, 512, Plain, Library, "Results of Mix All") \
  X(MainLibCol, libCol, U8, nullptr, nullptr, 1, 0, 255, Plain, Library, "Columns") \
  X(MainBankSaveCurrentPatchEdits, bankSaveCurrentPatchEdits, U8, nullptr, nullptr, 0, 0, 2, Plain, None, "Save edits of the current patch") \
  X(MainAutoAddRomBanks, autoAddRomBanks, U8, nullptr, nullptr, 0, 0, 1, Plain, None, "Add ROM banks to new Sets") \
  X(MainBankSplitInGroup, bankSplitInGroup, U8, nullptr, nullptr, 0, 0, 1, Plain, None, "Split bank views in Sets") \
  X(MainApplicationControlBar, applicationControlBar, U8, nullptr, nullptr, 0, 0, 1, Plain, Miscellaneous, "Show the control bar") \
  X(MainPchPopupSelect, pchPopupSelect, U8, nullptr, nullptr, 0, 0, 1, Plain, Midi, "Ask for the patch number on transfers") \
  X(MainMidiMonitorOpen, midiMonitorOpen, U8, "Preferences", "Open Monitor View", 0, 0, 1, Plain, None, "Open the MIDI monitor at start") \
  X(MainDBaseOpen, dBaseOpen, U8, "Preferences", "Open Collection View", 0, 0, 1, Plain, None, "Open the Collection window at start") \
  X(MainFileListOpen, fileListOpen, U8, "Preferences", "Open Set View", 0, 0, 1, Plain, None, "Open the Set window at start") \
  X(MainBankAuditionPlayTones, bankAuditionPlayTones, U8, nullptr, nullptr, 1, 0, 1, Plain, None, "Play the audition tones of banks") \
  X(MainBankAuditionVerify, bankAuditionVerify, U8, nullptr, nullptr, 0, 0, 1, Plain, None, "Verify bank auditions") \
  X(MainStoreIn, storeIn, U8, "Preferences", "Store In", 0, 0, 255, Plain, Patch, "Store in") \
  X(MainAutoDefinePatchesAndBanks, autoDefinePatchesAndBanks, U8, "Preferences", "Auto Define Patches And Banks", 0, 0, 2, Plain, Studio, "Define patches and banks automatically") \
  X(MainNoMouseLimit, noMouseLimit, U8, "Preferences", "No Mouse Limit", 1, 0, 1, Plain, Patch, "Mouse moves are not limited to the control") \
  X(MainIncludeRealTimeEvents, includeRealTimeEvents, U8, nullptr, nullptr, 0, 0, 1, Plain, Midi, "Include real-time messages in MIDI thru") \
  X(MainAutoLoadTempElements, autoLoadTempElements, U8, "Preferences", "Auto Load Temp Elements", 2, 0, 2, Plain, None, "New Set elements") \
  X(MainAutoSenseOnProgramExecution, autoSenseOnProgramExecution, U8, "Preferences", "Auto Sense On Program Execution", 0, 0, 1, Plain, Studio, "Sense instruments at start") \
  X(MainToolbarCorner, toolbarCorner, U8, nullptr, nullptr, 0, 0, 3, Plain, Miscellaneous, "Corner of the tool bar") \
  X(MainBankSplit, bankSplit, U16, nullptr, nullptr, 200, 0, 65535, Plain, None, "Divider of bank windows") \
  X(MainLibSplit, libSplit, U16, nullptr, nullptr, 200, 0, 65535, Plain, None, "Divider of Library windows") \
  X(MainRefresh, refresh, U8, nullptr, nullptr, 0, 0, 255, Plain, Patch, "Refresh of controls") \
  X(MainAutoSaveMinutes, autoSaveMinutes, U8, nullptr, nullptr, 10, 1, 255, Plain, Miscellaneous, "Minutes between automatic saves") \
  X(MainBankAudition, bankAudition, U8, "Preferences", "Bank Audition", 0, 0, 2, Plain, None, "Audition mode") \
  X(MainBankDnDMode, bankDnDMode, U8, nullptr, nullptr, 0, 0, 2, Plain, Bank, "Dragging inside a bank") \
  X(MainBankDnDExtMode, bankDnDExtMode, U8, nullptr, nullptr, 0, 0, 1, Plain, Bank, "Dragging between banks") \
  X(MainLibAddMode, libAddMode, U8, nullptr, nullptr, 3, 0, 3, Plain, Library, "Adding patches") \
  X(MainLibAddSortMode, libAddSortMode, U8, nullptr, nullptr, 0, 0, 255, Plain, Library, "Sorting of added patches") \
  X(MainBankRespondToPatchChange, bankRespondToPatchChange, U8, nullptr, nullptr, 0, 0, 1, Plain, None, "Respond to patch changes") \
  X(MainNoRegExtensions, noRegExtensions, U8, nullptr, nullptr, 0, 0, 1, Plain, None, "Do not register file types") \
  X(MainBankViewMode, bankViewMode, U8, nullptr, nullptr, 0, 0, 255, Plain, None, "View of bank windows") \
  X(MainLibViewMode, libViewMode, U8, nullptr, nullptr, 0, 0, 255, Plain, None, "View of Library windows") \
  X(MainDBaseViewMode, dBaseViewMode, U8, nullptr, nullptr, 0, 0, 255, Plain, Collection, "View") \
  X(MainMidiXPort, midiXPort, U8, nullptr, nullptr, 0, 0, 255, Plain, None, "Port of raw SysEx windows") \
  X(MainAutoHide, autoHide, U8, nullptr, nullptr, 0, 0, 1, Plain, None, "Hide the studio when a Set opens") \
  X(MainCubaseVersion, cubaseVersion, U8, nullptr, nullptr, 0, 0, 255, Plain, None, "Cubase version") \
  X(MainLockToMouse, lockToMouse, U8, "Preferences", "Lock to Mouse", 0, 0, 1, Plain, Patch, "Lock controls to the mouse") \
  X(MainCreateVstxml, createVstxml, U8, nullptr, nullptr, 0, 0, 1, Plain, None, "Write plug-in parameter descriptions") \
  X(MainUseMacAddress, useMacAddress, U8, nullptr, nullptr, 0, 0, 1, Plain, None, "Use the network address") \
  X(MainInvertScrollWheelInput, invertScrollWheelInput, U8, nullptr, nullptr, 0, 0, 1, Plain, Bank, "Invert the mouse wheel in grids") \
  X(MainMidiThruLocalOff, midiThruLocalOff, U8, nullptr, nullptr, 0, 0, 1, Plain, Midi, "Local off while MIDI thru is on") \
  X(MainModalPatchNameFiles, modalPatchNameFiles, U8, nullptr, nullptr, 0, 0, 1, Plain, Set, "Write patch name files per mode") \
  X(MainCreateProToolsMidnamFiles, createProToolsMidnamFiles, U8, nullptr, nullptr, 0, 0, 1, Plain, Set, "Write MIDNAM patch name files") \
  X(MainLeftHandTouch, leftHandTouch, U8, nullptr, nullptr, 0, 0, 1, Plain, Patch, "Left-hand touch") \
  X(MainTouchScreenEditing, touchScreenEditing, U8, nullptr, nullptr, 0, 0, 1, Plain, Patch, "Touch screen editing") \
  X(MainOscLimits, oscLimits, U8, nullptr, nullptr, 0, 0, 1, Plain, None, "Limit OSC values") \
  X(MainReceiveManualBulkDumps, receiveManualBulkDumps, U8, nullptr, nullptr, 0, 0, 2, Plain, Studio, "Receive manual bulk dumps and create new SysEx") \
  X(MainHideUAC, hideUAC, U8, nullptr, nullptr, 0, 0, 1, Plain, None, "Hide permission notices") \
  X(MainGroupByType, groupByType, U8, nullptr, nullptr, 1, 0, 1, Plain, None, "Arrange Sets by type") \
  X(MainBankAuditionDisabled, bankAuditionDisabled, U8, "Preferences", "Bank Audition Enable", 1, 0, 1, Inverted, None, "Bank auditions are off") \
  X(MainNotesToPlay, notesToPlay, U8, "Preferences", "Notes to Play", 4, 0, 7, MinusOne, Tones, "Notes to play") \
  X(MainPlaybackSpeed, playbackSpeed, U8, "Preferences", "Playback Speed", 2, 0, 255, MinusOne, Tones, "Playback speed") \
  X(MainMouseDirection, mouseDirection, U8, "Preferences", "Mouse Direction", 1, 0, 255, Plain, None, "Mouse direction") \
  X(MainBackgroundMode, backgroundMode, U8, "Preferences", "Background Mode", 0, 0, 255, Plain, None, "Background picture") \
  X(MainAutoLoad, autoLoad, U8, "Preferences", "Auto Load", 0, 0, 1, Plain, None, "Load Sets at start") \
  X(MainShowTransmitWindow, showTransmitWindow, U8, "Preferences", "Show Transmit Window", 1, 0, 1, Plain, None, "Show the transmit window") \
  X(MainBankProgressOnly, bankProgressOnly, U8, "Preferences", "Bank Progress Only", 0, 0, 1, Plain, None, "Show progress of banks only") \
  X(MainUseMidiTime, useMidiTime, U8, "MidiX Control", "UseMIDITime", 1, 0, 1, Plain, None, "Pace SysEx by the speed of a MIDI cable") \
  X(MainMidiTransferRate, midiTransferRate, U16, "MidiX Control", "MIDI Transfer Rate", 3125, 0, 65535, Plain, None, "Transfer rate (bytes per second)") \
  X(MainPatchBayDelay, patchBayDelay, U8, nullptr, nullptr, 2, 0, 255, Plain, None, "Delay after switching the patch bay (tenths of a second)") \
  X(PatchBayMode, patchBayMode, U8, "Preferences", "Patch Bay Mode", 1, 0, 1, Plain, None, "Patch bay support")

// Text settings: accessor, record field, bytes with terminator, section, key.
#define TONALITH_TEXT_SETTINGS(X) \
  X(MainGetLastSetFile, lastSetFile, 256, nullptr, nullptr) \
  X(MainGetLastSetPath, lastSetPath, 256, nullptr, nullptr) \
  X(MainGetAltFtpSite, altFtpSite, 256, nullptr, nullptr) \
  X(MainGetAltFtpDirectory, altFtpDirectory, 256, nullptr, nullptr) \
  X(MainGetAltFtpUsername, altFtpUsername, 256, nullptr, nullptr) \
  X(MainGetAltFtpPassword, altFtpPassword, 256, nullptr, nullptr) \
  X(MainGetColourMap, colourMap, 256, nullptr, nullptr) \
  X(MainGetDFileMatch, dFileMatch, 256, nullptr, nullptr) \
  X(MainGetDBasePath, dBasePath, 256, nullptr, nullptr) \
  X(MainGetDBaseMatch, dBaseMatch, 256, nullptr, nullptr) \
  X(MainLogFont, logFont, 256, nullptr, nullptr) \
  X(MainBackgroundFile, backgroundFile, 256, "Preferences", "Background File") \
  X(MainDefaultFont, defaultFont, 127, "Preferences", "Default Font")

// Lists of paths: accessor, accessor of the count, record field, most entries.
#define TONALITH_LIST_SETTINGS(X) \
  X(MainSonarFiles, MainSonarFilesCount, sonarFiles, 8) \
  X(MainCubaseFiles, MainCubaseFilesCount, cubaseFiles, 8) \
  X(MainXMLFiles, MainXMLFilesCount, xmlFiles, 8) \
  X(MainVSTPaths, MainVSTPathsCount, vstPaths, 16) \
  X(MainVST3Paths, MainVST3PathsCount, vst3Paths, 16)

// Number arrays: accessor (index, value), record field, entries, highest value.
#define TONALITH_ARRAY_SETTINGS(X) \
  X(MainSeqPort, seqPort, 16, 255) \
  X(MainSeqChannel, seqChannel, 16, 15) \
  X(MainTonesData, tonesData, 24, 127)

// Number settings that came later: rows are added behind the last one, and their fields lie behind everything else.
#define TONALITH_LATER_NUMBER_SETTINGS(X) \
  X(MainScriptSeconds, scriptSeconds, U8, nullptr, nullptr, 5, 1, 250, Plain, Midi, "Seconds a script may compute without waiting") \
  X(MainExtraAttempts, extraAttempts, U8, nullptr, nullptr, 2, 0, 10, Plain, Midi, "Extra attempts for data that does not come whole") \
  X(MainReadTwice, readTwice, U8, nullptr, nullptr, 0, 0, 1, Plain, Midi, "Read data without checksums twice and compare") \
  X(MainLook, look, U8, nullptr, nullptr, 0, 0, 2, Plain, None, "Look: as the desktop, light, dark")

#define TONALITH_ALL_NUMBER_SETTINGS(X) \
  TONALITH_NUMBER_SETTINGS(X) \
  TONALITH_LATER_NUMBER_SETTINGS(X)
// clang-format on
