#include "platform/linux/SecretServiceKeychain.h"

#include <libsecret/secret.h>

#include "base/async/SerialQueue.h"
#include "platform/linux/Completion.h"
#include "platform/linux/GioCalls.h"

namespace quillet {

namespace {

using Error = Keychain::Error;
using TimePoint = GioCalls::TimePoint;

template <class T>
using Result = std::expected<T, Error>;

struct ListFree {
    void operator()(GList* list) const { g_list_free_full(list, g_object_unref); }
};
using ObjectList = std::unique_ptr<GList, ListFree>;

struct ValueUnref {
    void operator()(SecretValue* value) const { secret_value_unref(value); }
};
using Value = std::unique_ptr<SecretValue, ValueUnref>;

struct TableUnref {
    void operator()(GHashTable* table) const { g_hash_table_unref(table); }
};
using Attributes = std::unique_ptr<GHashTable, TableUnref>;

Attributes attributesOf(const std::string& service, const std::string& name) {
    Attributes table(g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free));
    g_hash_table_insert(table.get(), g_strdup("service"), g_strdup(service.c_str()));
    g_hash_table_insert(table.get(), g_strdup("account"), g_strdup(name.c_str()));
    return table;
}

bool saysThatNobodyIsThere(const GError& error) {
    if (error.domain != G_DBUS_ERROR)
        return false;
    // A keyring that is installed but cannot be started is none either.
    return error.code == G_DBUS_ERROR_SERVICE_UNKNOWN ||
           error.code == G_DBUS_ERROR_NAME_HAS_NO_OWNER ||
           (error.code >= G_DBUS_ERROR_SPAWN_EXEC_FAILED &&
            error.code <= G_DBUS_ERROR_SPAWN_NO_MEMORY);
}

Error meaningOf(const GErrorPtr& error) {
    if (!error)
        return Error::failed;
    if (error->domain == SECRET_ERROR && error->code == SECRET_ERROR_IS_LOCKED)
        return Error::locked;
    return saysThatNobodyIsThere(*error) ? Error::absent : Error::failed;
}

/// One visit to the keyring. Every step is done or has failed by the deadline. The connection is
/// made anew for each visit, for the keyring may have been restarted since the last one.
class Visit {
public:
    Visit(GioCalls& calls, const std::string& service, TimePoint deadline)
        : calls_(calls), ours_(service), deadline_(deadline) {}

    [[nodiscard]] Result<void> open();
    [[nodiscard]] Result<std::string> read(const std::string& name);
    [[nodiscard]] Result<void> store(const std::string& name, const std::string& value);
    [[nodiscard]] Result<void> remove(const std::string& name);
    /// The user may take until `promptDeadline`.
    [[nodiscard]] Result<void> unlock(TimePoint promptDeadline);

private:
    enum class Want { first, all };

    bool isOpen() const {
        return collection_ && secret_collection_get_locked(collection_.get()) == FALSE;
    }
    [[nodiscard]] Result<ObjectList> find(const std::string& name, Want want);

    GioCalls& calls_;
    const std::string& ours_;  // the service name of our secrets
    TimePoint deadline_;
    GRef<SecretService> service_;
    GRef<SecretCollection> collection_;  // none where the keyring has no default collection
};

Result<void> Visit::open() {
    const auto onBus =
        calls_.wait([](GCancellable* cancellable, GAsyncReadyCallback done,
                       gpointer data) { g_bus_get(G_BUS_TYPE_SESSION, cancellable, done, data); },
                    deadline_);
    if (!onBus)
        return std::unexpected(Error::failed);
    const GRef<GDBusConnection> bus(g_bus_get_finish(onBus.get(), nullptr));
    if (!bus)
        return std::unexpected(Error::absent);
    // By default the process would be ended together with its bus.
    g_dbus_connection_set_exit_on_close(bus.get(), FALSE);

    GErrorPtr error;
    const auto opened = calls_.wait(
        [](GCancellable* cancellable, GAsyncReadyCallback done, gpointer data) {
            secret_service_open(SECRET_TYPE_SERVICE, nullptr, SECRET_SERVICE_OPEN_SESSION,
                                cancellable, done, data);
        },
        deadline_);
    if (opened)
        service_.reset(secret_service_open_finish(opened.get(), ErrorOut(error)));
    if (!service_)
        return std::unexpected(meaningOf(error));

    const auto looked = calls_.wait(
        [this](GCancellable* cancellable, GAsyncReadyCallback done, gpointer data) {
            secret_collection_for_alias(service_.get(), SECRET_COLLECTION_DEFAULT,
                                        SECRET_COLLECTION_NONE, cancellable, done, data);
        },
        deadline_);
    if (!looked)
        return std::unexpected(Error::failed);
    collection_.reset(secret_collection_for_alias_finish(looked.get(), ErrorOut(error)));
    if (error)
        return std::unexpected(meaningOf(error));
    return {};
}

Result<ObjectList> Visit::find(const std::string& name, Want want) {
    const auto attributes = attributesOf(ours_, name);
    const int flags = SECRET_SEARCH_LOAD_SECRETS | (want == Want::all ? SECRET_SEARCH_ALL : 0);
    const auto searched = calls_.wait(
        [&](GCancellable* cancellable, GAsyncReadyCallback done, gpointer data) {
            secret_service_search(service_.get(), nullptr, attributes.get(),
                                  static_cast<SecretSearchFlags>(flags), cancellable, done, data);
        },
        deadline_);
    if (!searched)
        return std::unexpected(Error::failed);
    GErrorPtr error;
    ObjectList items(secret_service_search_finish(service_.get(), searched.get(), ErrorOut(error)));
    if (error)
        return std::unexpected(meaningOf(error));
    return items;
}

Result<std::string> Visit::read(const std::string& name) {
    const auto items = find(name, Want::first);
    if (!items)
        return std::unexpected(items.error());
    if (!*items)
        return std::unexpected(isOpen() ? Error::notFound : Error::locked);
    auto* item = static_cast<SecretItem*>((*items)->data);
    if (secret_item_get_locked(item))
        return std::unexpected(Error::locked);
    const Value value(secret_item_get_secret(item));
    if (!value)
        return std::unexpected(Error::failed);
    gsize length = 0;
    const char* bytes = secret_value_get(value.get(), &length);
    return std::string(bytes, length);
}

Result<void> Visit::store(const std::string& name, const std::string& value) {
    if (!isOpen())
        return std::unexpected(Error::locked);
    const auto attributes = attributesOf(ours_, name);
    const auto label = "Quillet: " + name;
    const Value secret(
        secret_value_new(value.data(), static_cast<gssize>(value.size()), "text/plain"));
    const auto created = calls_.wait(
        [&](GCancellable* cancellable, GAsyncReadyCallback done, gpointer data) {
            secret_item_create(collection_.get(), nullptr, attributes.get(), label.c_str(),
                               secret.get(), SECRET_ITEM_CREATE_REPLACE, cancellable, done, data);
        },
        deadline_);
    if (!created)
        return std::unexpected(Error::failed);
    GErrorPtr error;
    const GRef<SecretItem> item(secret_item_create_finish(created.get(), ErrorOut(error)));
    if (!item)
        return std::unexpected(meaningOf(error));
    return {};
}

Result<void> Visit::remove(const std::string& name) {
    const auto items = find(name, Want::all);
    if (!items)
        return std::unexpected(items.error());
    if (!*items && !isOpen())
        return std::unexpected(Error::locked);
    for (const GList* at = items->get(); at; at = at->next) {
        auto* item = static_cast<SecretItem*>(at->data);
        if (secret_item_get_locked(item))
            return std::unexpected(Error::locked);
        const auto deleted =
            calls_.wait([&](GCancellable* cancellable, GAsyncReadyCallback done,
                            gpointer data) { secret_item_delete(item, cancellable, done, data); },
                        deadline_);
        GErrorPtr error;
        if (!deleted || !secret_item_delete_finish(item, deleted.get(), ErrorOut(error)))
            return std::unexpected(meaningOf(error));
    }
    return {};
}

Result<void> Visit::unlock(TimePoint promptDeadline) {
    if (isOpen())
        return {};
    GErrorPtr error;
    if (!collection_) {
        const auto created = calls_.wait(
            [this](GCancellable* cancellable, GAsyncReadyCallback done, gpointer data) {
                secret_collection_create(service_.get(), "Default keyring",
                                         SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_CREATE_NONE,
                                         cancellable, done, data);
            },
            promptDeadline);
        if (created)
            collection_.reset(secret_collection_create_finish(created.get(), ErrorOut(error)));
        return isOpen() ? Result<void>() : std::unexpected(Error::locked);
    }
    GList only{.data = collection_.get(), .next = nullptr, .prev = nullptr};
    const auto asked = calls_.wait(
        [&](GCancellable* cancellable, GAsyncReadyCallback done, gpointer data) {
            secret_service_unlock(service_.get(), &only, cancellable, done, data);
        },
        promptDeadline);
    if (!asked)
        return std::unexpected(Error::locked);
    GList* unlocked = nullptr;
    const int count =
        secret_service_unlock_finish(service_.get(), asked.get(), &unlocked, ErrorOut(error));
    const ObjectList freed(unlocked);
    if (count > 0)
        return {};
    return std::unexpected(error ? meaningOf(error) : Error::locked);
}

}  // namespace

class SecretServiceKeychain::Clerk {
public:
    Clerk(const std::string& name, std::string service)
        : service_(std::move(service)), queue_(name) {}
    ~Clerk() { calls_.end(); }
    Clerk(const Clerk&) = delete;
    Clerk& operator=(const Clerk&) = delete;

    /// Has `errand` carried out with an opened visit. The time begins to run now, so that whoever
    /// stands in the queue waits no longer than others.
    template <class T>
    asio::awaitable<Result<T>> send(std::chrono::milliseconds limit,
                                    std::move_only_function<Result<T>(Visit&)> errand) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        co_return co_await Completion<Result<T>>::wait(
            [this, deadline,
             errand = std::move(errand)](std::shared_ptr<Completion<Result<T>>> caller) mutable {
                queue_.post([this, deadline, errand = std::move(errand),
                             caller = std::move(caller)]() mutable {
                    Visit visit(calls_, service_, deadline);
                    const auto opened = visit.open();
                    caller->finish(opened ? errand(visit) : std::unexpected(opened.error()));
                });
            });
    }

private:
    GioCalls calls_;
    std::string service_;
    SerialQueue queue_;  // last: its end waits for the work that uses the calls
};

SecretServiceKeychain::SecretServiceKeychain() : SecretServiceKeychain(Limits()) {}

SecretServiceKeychain::SecretServiceKeychain(Limits limits, std::string_view service)
    : limits_(limits), service_(service) {}

SecretServiceKeychain::~SecretServiceKeychain() = default;

SecretServiceKeychain::Clerk& SecretServiceKeychain::clerk() {
    if (!clerk_)
        clerk_ = std::make_unique<Clerk>("keyring", service_);
    return *clerk_;
}

SecretServiceKeychain::Clerk& SecretServiceKeychain::doorkeeper() {
    if (!doorkeeper_)
        doorkeeper_ = std::make_unique<Clerk>("keyring unlock", service_);
    return *doorkeeper_;
}

asio::awaitable<Result<std::string>> SecretServiceKeychain::read(std::string name) {
    co_return co_await clerk().send<std::string>(
        limits_.call, [name = std::move(name)](Visit& visit) { return visit.read(name); });
}

asio::awaitable<Result<void>> SecretServiceKeychain::write(std::string name, std::string value) {
    co_return co_await clerk().send<void>(
        limits_.call, [name = std::move(name), value = std::move(value)](Visit& visit) {
            return value.empty() ? visit.remove(name) : visit.store(name, value);
        });
}

asio::awaitable<Result<void>> SecretServiceKeychain::unlock() {
    const auto promptDeadline = std::chrono::steady_clock::now() + limits_.unlock;
    co_return co_await doorkeeper().send<void>(
        limits_.call, [promptDeadline](Visit& visit) { return visit.unlock(promptDeadline); });
}

}  // namespace quillet
