#pragma once

namespace tonalith {

class ListingView;

// Has a listing read to those who cannot see it: a text whose lines are those that are shown, with the caret at the
// current byte.  To be said once of a view, before anybody asks what it is.
void ServeListingReaders(ListingView& view);

}  // namespace tonalith
