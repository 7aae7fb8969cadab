#pragma once
// The UI library's unit loader: init() creates a QApplication when the host
// process has none, finalize() destroys the one that init() created. A Qt
// host keeps its own application object.

namespace kalvex {

void UiLoaderInitialize();
void UiLoaderFinalize();
bool UiLoaderOwnsApplication();

}  // namespace kalvex
