// Templates are written as they were read, byte for byte; what is no template is refused.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "editor/model/template_cipher.h"
#include "editor/model/template_file.h"

namespace tonalith {

namespace {

using Bytes = std::vector<std::uint8_t>;

// A control of every kind, with values that are not the standard ones.
TemplateFile EveryKind() {
  TemplateFile panel;
  panel.blocks = {{MakeTag("GLBL"), {}}, {MakeTag("XTRA"), {1, 2, 3}}, {MakeTag("TEXT"), {'H', 'i', 0}}};
  panel.SetMacros({{3, {1, 2, 255}}, {100, {255}}});
  for (const ControlKind& kind : ControlKinds()) {
    ControlRecord record = ControlRecord::Make(kind.tag, kind.tag == MakeTag("GRPH") ? 8 : 1);
    record.head.id = static_cast<std::uint16_t>(panel.controls.size() + 1);
    record.head.left = -5;
    record.head.name = "Caf\xE9";
    for (const TemplateField& field : kind.fields) {
      if (field.type == TemplateFieldType::kText) record.own.Set(field.name, std::string(field.name));
    }
    record.bindings[0].Set("Map", std::string("\0\0\0\5", 4));
    record.bindings[0].Set("Min Value", -64);
    panel.controls.push_back(std::move(record));
  }
  for (ControlRecord& record : panel.controls) {
    if (record.tag == MakeTag("GRPH")) {
      record.own.Set("Number of Points", 4);
      record.own.Set("Points", std::vector<std::int64_t>{3, 1, 3, 1, 3, 1, 3, 1});
      record.own.Set("Linked Controls", std::vector<std::int64_t>{1, 2, 3, 4, 5, 6, 7, -1});
    }
    if (record.tag == MakeTag("NUMB")) {
      record.own.Set("Popup Style", 3);
      record.own.Set("Popup ID", 7);
      record.own.Set("Background", 1);
    }
    if (record.tag == MakeTag("CSTR")) {
      record.own.Set("Strings", 2);
      record.own.Set("String Width", 3);
      record.own.Set("String Memory", std::vector<std::int64_t>{'o', 'f', 'f', 'o', 'n', 0});
    }
  }
  return panel;
}

}  // namespace

TEST(Template, EveryKindIsWrittenAsItWasRead) {
  const TemplateFile panel = EveryKind();
  for (const int cipher : {0, 1, 9, 255}) {
    TemplateFile ciphered = panel;
    for (const std::size_t place : {WindowRecord::kCipherMacro, WindowRecord::kCipherControl})
      ciphered.window.bytes[place] = static_cast<std::uint8_t>(cipher);
    ciphered.SetMacros(panel.Macros());
    const Bytes bytes = WriteTemplate(ciphered);
    TemplateFile back;
    const Result read = ReadTemplate(bytes, &back);
    ASSERT_TRUE(read.ok()) << read.text;
    EXPECT_EQ(WriteTemplate(back), bytes);
    EXPECT_EQ(back.Text(), "Hi");
    ASSERT_EQ(back.Macros().size(), 2u);
    EXPECT_EQ(back.Macros()[1].number, 100);
    ASSERT_EQ(back.controls.size(), panel.controls.size());
    for (std::size_t i = 0; i < panel.controls.size(); ++i) {
      EXPECT_FALSE(back.controls[i].opaque) << TagText(panel.controls[i].tag);
      EXPECT_EQ(back.controls[i].own, panel.controls[i].own) << TagText(panel.controls[i].tag);
      EXPECT_EQ(back.controls[i].bindings, panel.controls[i].bindings);
      EXPECT_EQ(back.controls[i].head.name, "Caf\xE9");
    }
    EXPECT_EQ(back.controls[0].own.Number("Popup ID"), 7);
    EXPECT_EQ(back.controls[0].own.Text("Background Bitmap"), "Background Bitmap");
  }
}

// Older records are shorter: what they lack is standard, and they stay as short as they are.
TEST(Template, ShortRecordsStayShort) {
  const TemplateFile panel = EveryKind();
  for (const ControlRecord& record : panel.controls) {
    const Bytes whole = WriteControlRecord(record);
    for (std::size_t size = 0; size <= whole.size(); ++size) {
      Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
      EXPECT_EQ(WriteControlRecord(ReadControlRecord(record.tag, cut)), cut) << TagText(record.tag) << " " << size;
    }
    Bytes longer = whole;
    longer.insert(longer.end(), {9, 8, 7});
    const ControlRecord back = ReadControlRecord(record.tag, longer);
    EXPECT_FALSE(back.opaque);
    EXPECT_EQ(WriteControlRecord(back), longer) << TagText(record.tag);
  }
  const Bytes numeric = WriteControlRecord(panel.controls[0]);
  TemplateReader reader(numeric);
  Bytes chunk(numeric);
  ControlRecord shorter = ReadControlRecord(MakeTag("NUMB"), chunk);
  shorter.bindings[0] = TemplateValues(BindingFields());
  shorter.bindings[0].Set("Map", std::string());
  EXPECT_EQ(shorter.bindings[0].Number("A Pen"), 1);
  EXPECT_EQ(TemplateValues(BindingFields()).Number("Max Value"), 127);
}

TEST(Template, WhatIsNoTemplateIsRefused) {
  const Bytes good = WriteTemplate(EveryKind());
  TemplateFile panel;
  const auto refused = [&](Bytes bytes) { return ReadTemplate(bytes, &panel).text; };
  EXPECT_NE(refused({'F', 'O', 'R', 'M', 0}).find("old record format"), std::string::npos);
  EXPECT_EQ(refused({}), "File Error: ZKTM not found!");
  constexpr std::size_t kWindowAt = 12;
  Bytes newer = good;
  newer[kWindowAt + 1] = 2;
  EXPECT_NE(refused(newer).find("unsupported file format"), std::string::npos);
  Bytes damaged = good;
  damaged[kWindowAt + 60] ^= 1;
  EXPECT_NE(refused(damaged).find("appears damaged"), std::string::npos);
  for (std::size_t size = 0; size < good.size(); size += 7)
    EXPECT_FALSE(ReadTemplate(std::span(good).first(size), &panel).ok()) << size;
  // Whatever is taken is written again as it was.
  std::mt19937 random(11);
  for (int round = 0; round < 600; ++round) {
    Bytes mutant = good;
    for (int i = 0; i < 3; ++i) mutant[random() % mutant.size()] = static_cast<std::uint8_t>(random());
    if (!ReadTemplate(mutant, &panel).ok()) continue;
    EXPECT_EQ(WriteTemplate(panel), mutant);
    panel.Macros();
    panel.Text();
  }
}

TEST(Template, CipherHasAnInverse) {
  Bytes all(64);
  for (std::size_t i = 0; i < all.size(); ++i) all[i] = static_cast<std::uint8_t>(i * 5);
  for (int selector = 0; selector < 256; ++selector) {
    for (const int tables : {0, 1, 5, 16, 255}) {
      Bytes bytes = all;
      EncipherTemplate(bytes, selector, tables);
      DecipherTemplate(bytes, selector, tables);
      EXPECT_EQ(bytes, all);
    }
  }
}

TEST(TemplateLists, AreWrittenAsTheyWereRead) {
  TemplateLists lists;
  lists.texts[3] = {"off", "", std::string(255, 'x')};
  lists.texts[70000] = {};
  lists.tables[0] = {9, {1, 0xFFFFFFFF}};
  const Bytes bytes = WriteTemplateLists(lists);
  const TemplateLists back = ReadTemplateLists(bytes);
  EXPECT_EQ(back.texts, lists.texts);
  EXPECT_EQ(WriteTemplateLists(back), bytes);
  for (std::size_t size = 0; size < bytes.size(); ++size) ReadTemplateLists(std::span(bytes).first(size));
  Bytes huge = bytes;
  std::fill(huge.begin() + 9, huge.begin() + 17, std::uint8_t{0x7F});
  EXPECT_TRUE(ReadTemplateLists(huge).texts.empty());
}

}  // namespace tonalith
