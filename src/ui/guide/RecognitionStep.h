#pragma once

#include <string>
#include <vector>

#include "ui/settings/RecognitionPage.h"

namespace quillet {

/// The guide's page on recognition: what is spoken, and whether this device or a server writes it
/// down. Leads to a model for the language where that is all that is missing.
class RecognitionStep : public RecognitionPage {
public:
    /// `interface`: the language of the windows, which somebody who has not chosen yet is expected
    /// to speak.
    RecognitionStep(const Binding& binding, Services services, std::string interface);
    ~RecognitionStep() override;

protected:
    void showEvent(QShowEvent* event) override;

private:
    void addPlace(QVBoxLayout& column, STTEngineType engine, const QString& name,
                  const QString& description);
    void addModelState(QVBoxLayout& column);
    [[nodiscard]] int indent() const;
    void showModelState();
    [[nodiscard]] QString modelState() const;
    void expectOwnLanguage();

    std::string interface_;
    QLabel* state_;
    std::vector<ModelOffer*> offers_;
};

}  // namespace quillet
