// A plugin for clang-tidy: its checks look at the declarations of the project only. Without it they visit everything
// that the headers of the system declare as well, of which nothing is reported, and that takes most of their time.
// What a check would compare with a declaration of the system it does not find: see check.sh.
#include <clang/AST/ASTConsumer.h>
#include <clang/AST/ASTContext.h>
#include <clang/Basic/SourceManager.h>
#include <clang/Frontend/CompilerInstance.h>
#include <clang/Frontend/FrontendAction.h>
#include <clang/Frontend/FrontendPluginRegistry.h>
#include <memory>
#include <string>
#include <vector>

namespace {

class OwnCode : public clang::ASTConsumer {
  public:
    void HandleTranslationUnit(clang::ASTContext &context) override
    {
        const clang::SourceManager &sources = context.getSourceManager();
        std::vector<clang::Decl *> own;
        for (clang::Decl *declaration : context.getTranslationUnitDecl()->decls()) {
            if (!sources.isInSystemHeader(sources.getExpansionLoc(declaration->getLocation()))) {
                own.push_back(declaration);
            }
        }
        context.setTraversalScope(own);
    }
};

class OwnCodeAction : public clang::PluginASTAction {
  protected:
    std::unique_ptr<clang::ASTConsumer> CreateASTConsumer(clang::CompilerInstance &, llvm::StringRef) override
    {
        return std::make_unique<OwnCode>();
    }
    bool ParseArgs(const clang::CompilerInstance &, const std::vector<std::string> &) override
    {
        return true;
    }
    ActionType getActionType() override
    {
        return AddBeforeMainAction;
    }
};

const clang::FrontendPluginRegistry::Add<OwnCodeAction> registration("own-code", "visit the project's own code only");

} // namespace
