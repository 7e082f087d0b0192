#pragma once

class PresenterClient;
class PresenterCollab;

// What the guide answers with lines of code, each as a function.
namespace Guide
{

void silenceTheLibrary();
void reopenWhenLost(PresenterClient &client, PresenterCollab *collab);

} // namespace Guide
