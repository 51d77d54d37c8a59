#include "world/Night.h"

namespace quillet::world {

void Night::open() {
    notes = std::make_unique<MeetingLibrary>(file("meetings"), world.queue);
    reviewer = std::make_unique<NightlyReviewer>(NightlyReviewer::Services{
        world.loop, world.calendar, *world.ids, world.notifications, *world.settings, *world.store,
        *world.vocabulary, *world.archive, *world.speechClient, *world.refiner,
        ReviewFile::Paths{file("review.json"), file("review-progress.json")},
        file("Dictations-iPhone.json"), world.queue, world.log});
    keeper = std::make_unique<KnowledgeKeeper>(KnowledgeKeeper::Services{
        world.loop, world.calendar, world.ids, world.notifications, *world.settings, *world.store,
        *notes, *world.refiner, file("knowledge.json"), file("Dictations-iPhone.json"), world.queue,
        world.log});
    tasks = std::make_unique<TaskScope>(world.loop);
}

void Night::close() {
    tasks.reset();
    keeper.reset();
    reviewer.reset();
    notes.reset();
}

void Night::crashAndRestart() {
    // What the disk has at this moment is all that the next run gets.
    const auto saved = world.folder.path().string() + ".saved";
    std::filesystem::copy(world.folder.path(), saved, std::filesystem::copy_options::recursive);
    close();
    world.tearDown();
    std::filesystem::remove_all(world.folder.path());
    std::filesystem::rename(saved, world.folder.path());
    world.start();
    open();
}

std::string Night::log(const std::string& heard, const std::string& sent,
                       const std::string& bundleID) {
    world.pass(1s);
    SessionStore::NewEntry entry;
    entry.timestamp = world.calendar.now();
    entry.rawText = heard;
    entry.finalText = sent;
    auto id = world.await(world.store->log(std::move(entry), bundleID, "Mail"));
    EXPECT_TRUE(id.has_value());
    return id.value_or("");
}

}  // namespace quillet::world
