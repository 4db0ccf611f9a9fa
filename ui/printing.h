// Listings on paper.
#pragma once

#include <QString>
#include <functional>
#include <string>
#include <vector>

class QPagedPaintDevice;
class QWidget;

namespace tonalith {

class Prompts;

// Lines of UTF-8.
using ListingPage = std::vector<std::string>;
inline constexpr int kLinesOfPage = 66;

// Draws the pages of a listing in a fixed-width font that lets them fit.  False: painting could not start.
bool PaintListing(const std::vector<ListingPage>& pages, QPagedPaintDevice& device);

struct PrintJob {
  QString title{};     // of the document
  std::string ask{};   // title of the file dialog
  std::string name{};  // suggested name of a PDF file
  std::string folder{};
  std::function<std::vector<ListingPage>()> pages{};
};
// The system's dialog when there is a printer, else a PDF file whose name is asked for.
void Print(const PrintJob& job, Prompts& prompts, QWidget* parent);
// Writes it to a PDF file whose name is asked for.
void PrintToPdf(const PrintJob& job, Prompts& prompts);

// Prints lines under a heading, in several columns where they are short; tabs align.
void PrintLines(const QString& heading, const std::vector<std::string>& lines, Prompts& prompts,
                const std::string& folder, QWidget* parent);

}  // namespace tonalith
